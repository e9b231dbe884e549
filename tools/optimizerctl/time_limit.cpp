#include "tools/optimizerctl/time_limit.h"

#include <utility>

namespace ctl {

namespace {

constexpr int64_t kGraceMs = 300;
constexpr int64_t kFileTimePerMs = 10000;

}  // namespace

TimeLimit::TimeLimit(std::optional<uint32_t> timeoutMs, std::function<ExitCode()> lastWords)
    : m_lastWords(std::move(lastWords)) {
    if (!timeoutMs) return;
    m_timer.Reset(CreateThreadpoolTimer(&_OnTimer, this, nullptr));
    if (!m_timer) return;
    LARGE_INTEGER due;
    due.QuadPart = -(*timeoutMs + kGraceMs) * kFileTimePerMs;  // negative: from now
    FILETIME time = {due.LowPart, static_cast<DWORD>(due.HighPart)};
    SetThreadpoolTimer(m_timer.Get(), &time, 0, 0);
}

TimeLimit::~TimeLimit() {
    if (!m_timer) return;
    SetThreadpoolTimer(m_timer.Get(), nullptr, 0, 0);
    WaitForThreadpoolTimerCallbacks(m_timer.Get(), TRUE);
}

void CALLBACK TimeLimit::_OnTimer(PTP_CALLBACK_INSTANCE, void* context, PTP_TIMER) {
    ExitCode code = ExitCode::TimedOut;
    try {
        code = static_cast<TimeLimit*>(context)->m_lastWords();
    } catch (const std::exception&) {
        // the exit code tells it
    }
    // A thread is inside the connector: no library may be asked to end in order.
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(code));
}

}  // namespace ctl
