#include "tools/optimizerctl/doctor_noun.h"

#include <chrono>

#include "tools/optimizerctl/actions_wait.h"
#include "tools/optimizerctl/boot_answers.h"
#include "tools/optimizerctl/diagnosis.h"
#include "tools/optimizerctl/names.h"

namespace ctl {

namespace {

EngineState AskEngine(Context& context) {
    EngineState state;
    const Clock::time_point start = Clock::now();
    try {
        optimizer::profiles::profile active = optimizer::profiles::profile::Disabled;
        Require(context.Engine().GetProfile(&active), L"The engine doesn't tell its profile");
        state.profile = NameOf(active);
    } catch (const Failure& failure) {
        state.failure = failure;
    }
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
    state.milliseconds = static_cast<uint64_t>(took.count());
    return state;
}

/// An engine of this process's own has just begun a run, which tells something at its end only.
void AskRun(Context& context, Clock::time_point start, Diagnosis& diagnosis) {
    try {
        IOptimizer& engine = context.Engine();
        if (context.IsInProcess()) {
            EventInbox inbox(engine);
            diagnosis.lastRun = WaitForRun(context, engine, inbox, start);
        } else {
            diagnosis.lastRun = AskLastRun(engine);
        }
        diagnosis.notes = host::AskNotes(engine);
    } catch (const Failure& failure) {
        diagnosis.engine.failure = failure;
    }
}

BootState AskBoot(Context& context) {
    BootState state;
    try {
        state.milliseconds = AskBootTime(context, Unfinished::Fail);
    } catch (const Failure& failure) {
        state.failure = failure;
    }
    return state;
}

ExitCode Doctor(Context& context) {
    Diagnosis diagnosis;
    context.Out().ShowProgress(L"looking for the service");
    diagnosis.service = context.Machine().QueryService();
    const Clock::time_point start = Clock::now();
    diagnosis.engine = AskEngine(context);
    if (!diagnosis.engine.failure) AskRun(context, start, diagnosis);
    if (!diagnosis.engine.failure && !context.IsInProcess()) diagnosis.boot = AskBoot(context);
    DiagnoseSettings(context.Machine().SettingsFolder(), diagnosis);
    DiagnoseLastRun(diagnosis);
    context.Out().ShowProgress(L"");
    const ExitCode verdict = Verdict(diagnosis);
    if (verdict == ExitCode::Done) {
        context.Out().Tell(ReportText(diagnosis), ReportDocument(diagnosis));
    } else {
        context.Out().TellAlways(ReportText(diagnosis), ReportDocument(diagnosis));
    }
    return verdict;
}

}  // namespace

void AddDoctorNoun(CLI::App& app, Verbs& verbs) {
    verbs.Add(app, "doctor",
              "Tells whether the service is installed, running and reachable, which settings files\n"
              "are sound, and what is to be put back on this machine.",
              "doctor --json", &Doctor);
}

}  // namespace ctl
