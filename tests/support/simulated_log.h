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

}  // namespace test_support
