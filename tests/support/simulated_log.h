#pragma once

#include <string>
#include <vector>

#include "frame/log_binding.h"

namespace test_support {

/// Keeps the trace live and collects its lines. Needs the simulated log library beside the test program.
class TraceRecorder {
public:
    TraceRecorder();

    /// The lines so far, formatted, entry and exit lines left out.
    std::vector<std::wstring> Lines() const;
    bool Has(const std::wstring& line) const;

private:
    optimizer::trace::LogHolder m_holder;
};

/// Keeps the simulated log library loaded without making the trace live, and tells what was called in it.
class LogCalls {
public:
    LogCalls();

    /// All calls since the last time: the function's name, or a write's nesting, level, two names and text.
    std::vector<std::wstring> Take() const;

private:
    optimizer::Library m_library;
};

}  // namespace test_support
