#include "tools/optimizerctl/actions_wait.h"

#include <algorithm>

#include "tools/optimizerctl/names.h"

namespace ctl {

namespace {

using host::LastRun;
using optimizer::profiles::profile;

constexpr uint32_t kDefaultWaitMs = 60000;
constexpr uint32_t kPollMs = 1000;

Failure SomebodyChose(const std::wstring& other, profile wanted) {
    return {ExitCode::Refused, ERROR_CANCELLED,
            L"Somebody chose " + other + L" before the actions of " + NameOf(wanted) + L" were executed."};
}

/// Looks whether the service still answers and the profile is still the one that is waited for.
void CheckStillComing(IOptimizer& engine, profile wanted, profile active) {
    profile now = profile::Disabled;
    Require(engine.GetProfile(&now), L"The active profile can't be told");
    if (now != active) throw SomebodyChose(NameOf(now), wanted);
}

/// Waits for the next event, a moment at most. True when none came.
bool WaitForNews(Context& context, EventInbox& inbox, const std::wstring& name, Clock::time_point start) {
    const uint32_t limitMs = context.TimeoutMs().value_or(kDefaultWaitMs);
    const uint64_t waitedMs = MillisecondsSince(start);
    if (waitedMs >= limitMs) {
        throw Failure(ExitCode::TimedOut, WAIT_TIMEOUT,
                      L"The actions of " + name + L" were not executed within " + SecondsText(limitMs) +
                          (context.IsInProcess()
                               ? L"; the end of this program cuts them short, and the next run goes on with "
                                 L"what is noted."
                               : L"; they may still run."));
    }
    context.Out().ShowProgress(L"The actions of " + name + L" run, " + std::to_wstring(waitedMs / 1000) +
                               L" s");
    const auto pauseMs = static_cast<DWORD>(std::min<uint64_t>(kPollMs, limitMs - waitedMs));
    return WaitForSingleObject(inbox.Signal(), pauseMs) == WAIT_TIMEOUT && pauseMs == kPollMs;
}

/// Empties the inbox; whether the actions of that profile were among what it held.
bool TakeExecuted(EventInbox& inbox, profile wanted) {
    bool executed = false;
    while (const auto event = inbox.Take()) {
        executed |=
            event->kind == EventKind::ActionsExecuted && event->value == static_cast<uint32_t>(wanted);
    }
    return executed;
}

}  // namespace

uint64_t MillisecondsSince(Clock::time_point start) {
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
}

std::optional<LastRun> AskLastRun(IOptimizer& engine) {
    std::optional<LastRun> run;
    Require(host::AskLastRun(engine, run), L"What became of the actions can't be told");
    return run;
}

std::optional<LastRun> WaitForRun(Context& context, IOptimizer& engine, EventInbox& inbox,
                                  Clock::time_point start) {
    for (;;) {
        // Emptied before the question, so that the end of the run is heard whenever it comes.
        while (inbox.Take()) {
        }
        std::optional<LastRun> run = AskLastRun(engine);
        if (!run || !run->running) return run;
        WaitForNews(context, inbox, run->profile, start);
    }
}

std::optional<LastRun> WaitForActions(Context& context, IOptimizer& engine, EventInbox& inbox,
                                      profile executed, profile active, Clock::time_point start) {
    const std::wstring name = NameOf(executed);
    for (;;) {
        const bool isHeard = TakeExecuted(inbox, executed);
        std::optional<LastRun> run = AskLastRun(engine);
        if (run && run->profile != name) throw SomebodyChose(run->profile, executed);
        // The event may be of a run before this one, which an engine of before doesn't tell.
        if (run ? !run->running : isHeard) return run;
        const bool quiet = WaitForNews(context, inbox, name, start);
        // Nobody else reaches the engine of this process.
        if (!run && quiet && !context.IsInProcess()) CheckStillComing(engine, executed, active);
    }
}

bool LetRunEnd(Context& context, Clock::time_point start) {
    IOptimizer* const engine = context.OpenedEngine();
    if (engine == nullptr || !context.IsInProcess()) return true;
    try {
        EventInbox inbox(*engine);
        WaitForRun(context, *engine, inbox, start);
        context.Out().ShowProgress(L"");
    } catch (const Failure& failure) {
        if (failure.Exit() != ExitCode::TimedOut) return true;  // an engine that tells nothing has no run
        context.Out().Warn(failure.Sentence());
        return false;
    }
    return true;
}

}  // namespace ctl
