#include "tools/optimizerctl/actions_wait.h"

#include <algorithm>

#include "tools/optimizerctl/names.h"

namespace ctl {

namespace {

using optimizer::profiles::profile;

constexpr uint32_t kDefaultWaitMs = 60000;
constexpr uint32_t kPollMs = 1000;

/// Looks whether the service still answers and the profile is still the one that is waited for.
void CheckStillComing(IOptimizer& engine, profile wanted) {
    profile active = profile::Disabled;
    Require(engine.GetProfile(&active), L"The active profile can't be told");
    if (active == wanted) return;
    throw Failure(ExitCode::Refused, ERROR_CANCELLED,
                  L"Somebody chose " + NameOf(active) + L" before the actions of " + NameOf(wanted) +
                      L" were executed.");
}

}  // namespace

uint64_t MillisecondsSince(Clock::time_point start) {
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
}

void WaitForActions(Context& context, IOptimizer& engine, EventInbox& inbox, profile wanted,
                    Clock::time_point start) {
    const uint32_t limitMs = context.TimeoutMs().value_or(kDefaultWaitMs);
    for (;;) {
        while (const auto event = inbox.Take()) {
            if (event->kind == EventKind::ActionsExecuted && event->value == static_cast<uint32_t>(wanted))
                return;
        }
        const uint64_t waitedMs = MillisecondsSince(start);
        if (waitedMs >= limitMs) {
            throw Failure(ExitCode::TimedOut, WAIT_TIMEOUT,
                          L"The profile " + NameOf(wanted) +
                              L" is set, but its actions were not executed within " + SecondsText(limitMs) +
                              (context.IsInProcess() ? L"; they were cut short." : L"; they may still run."));
        }
        context.Out().ShowProgress(L"The actions of " + NameOf(wanted) + L" run, " +
                                   std::to_wstring(waitedMs / 1000) + L" s");
        const auto pauseMs = static_cast<DWORD>(std::min<uint64_t>(kPollMs, limitMs - waitedMs));
        const bool quiet = WaitForSingleObject(inbox.Signal(), pauseMs) == WAIT_TIMEOUT && pauseMs == kPollMs;
        // Nobody else reaches the engine of this process.
        if (quiet && !context.IsInProcess()) CheckStillComing(engine, wanted);
    }
}

}  // namespace ctl
