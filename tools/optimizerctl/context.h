#pragma once

#include <atomic>
#include <optional>
#include <string>

#include "tools/optimizerctl/output.h"
#include "tools/optimizerctl/surroundings.h"

namespace CLI {  // NOLINT(readability-identifier-naming): the library's own
class App;
}

namespace ctl {

/// What a verb works with while it runs.
class Context {
public:
    Context(const CLI::App& arguments, Surroundings& surroundings, Output& output, bool inProcess,
            std::optional<uint32_t> timeoutMs);
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    /// The value of a positional argument or option, empty when it wasn't given.
    std::wstring Argument(const std::string& name) const;
    bool Has(const std::string& name) const;

    /// Connects at the first call. Throws Failure.
    IOptimizer& Engine();
    /// Null before that.
    IOptimizer* OpenedEngine() const { return m_engine; }
    /// The same for the measurement of the boot, which only the service makes.
    boottime::IBootTimeCommClient& Boot();
    Output& Out() { return m_output; }
    ITerminal& Terminal() { return m_surroundings.terminal; }
    IMachine& Machine() { return m_surroundings.machine; }

    /// Whether the engine is this process's own. It ends with the verb, so that the verb has to wait for what
    /// the engine does after a request.
    bool IsInProcess() const { return m_inProcess; }
    std::optional<uint32_t> TimeoutMs() const { return m_timeoutMs; }
    /// What to tell when the time is up in the middle of a call. Any thread.
    Failure TimeIsUp() const;

private:
    const CLI::App& m_arguments;
    Surroundings& m_surroundings;
    Output& m_output;
    const bool m_inProcess;
    const std::optional<uint32_t> m_timeoutMs;
    std::atomic<bool> m_connecting = false;
    IOptimizer* m_engine = nullptr;
};

/// "1.5 s"
std::wstring SecondsText(uint64_t milliseconds);

}  // namespace ctl
