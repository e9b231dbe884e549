#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include <windows.h>

#include "frame/handles.h"
#include "tools/optimizerctl/exit_codes.h"

namespace ctl {

struct TimerTraits {
    using Type = PTP_TIMER;
    static Type Invalid() noexcept { return nullptr; }
    static void Close(Type timer) { CloseThreadpoolTimer(timer); }
};

/// Ends the whole program when its time is up, since a request that blocks can't be broken off from outside.
/// What waits by itself for events looks at the clock by itself; so this one comes a little later.
class TimeLimit {
public:
    /// `lastWords` says the failure and gives the exit code, on a thread of its own. Without a time there is
    /// no limit.
    TimeLimit(std::optional<uint32_t> timeoutMs, std::function<ExitCode()> lastWords);
    ~TimeLimit();
    TimeLimit(const TimeLimit&) = delete;
    TimeLimit& operator=(const TimeLimit&) = delete;

private:
    static void CALLBACK _OnTimer(PTP_CALLBACK_INSTANCE instance, void* context, PTP_TIMER timer);

    const std::function<ExitCode()> m_lastWords;
    optimizer::UniqueHandle<TimerTraits> m_timer;
};

}  // namespace ctl
