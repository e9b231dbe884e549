#include "tools/optimizerctl/module_noun.h"

#include <optional>

#include <CLI/CLI.hpp>

#include "tools/optimizerctl/actions_wait.h"
#include "tools/optimizerctl/run_outcome.h"

namespace ctl {

namespace {

using optimizer::profiles::profile;

bool IsOn(IOptimizer& engine) {
    bool on = false;
    Require(engine.GetModuleEnable(&on), L"The module's state can't be told");
    return on;
}

/// Returns with what became of the run that the switch began.
std::optional<host::LastRun> SwitchAndWait(Context& context, IOptimizer& engine, bool on,
                                           const std::wstring& failure) {
    profile active = profile::Disabled;
    Require(engine.GetProfile(&active), L"The active profile can't be told");
    const bool nothingToDo = IsOn(engine) == on || active == profile::Disabled;
    EventInbox inbox(engine);
    const Clock::time_point start = Clock::now();
    Require(engine.SetModuleEnable(on), failure);
    // The start of an engine of this process's own, or an earlier run, may still go on.
    if (nothingToDo) return WaitForRun(context, engine, inbox, start);
    return WaitForActions(context, engine, inbox, on ? active : profile::Disabled, active, start);
}

ExitCode Switch(Context& context, bool on) {
    const std::wstring word = on ? L"on" : L"off";
    const std::wstring failure = L"The module can't be switched " + word;
    IOptimizer& engine = context.Engine();
    std::optional<host::LastRun> run;
    // An engine that ends with the verb is given the time to carry the switch out.
    if (context.Has("--wait") || context.IsInProcess()) {
        run = SwitchAndWait(context, engine, on, failure);
    } else {
        Require(engine.SetModuleEnable(on), failure);
    }
    const std::wstring begin = L"The module is " + word;
    return TellOutcome(context, {begin + L".", begin}, {{"on", picojson::value(on)}}, run);
}

ExitCode Status(Context& context) {
    const bool on = IsOn(context.Engine());
    context.Out().Tell(on ? L"on" : L"off", {{"on", picojson::value(on)}});
    return ExitCode::Done;
}

}  // namespace

void AddModuleNoun(CLI::App& app, Verbs& verbs) {
    CLI::App& noun = *app.add_subcommand("module", "Switches the module that carries profiles out.");
    noun.require_subcommand(0, 1);
    CLI::App* const on = verbs.Add(noun, "on", "Lets the active profile be carried out.", "module on --wait",
                                   [](Context& context) { return Switch(context, true); });
    CLI::App* const off =
        verbs.Add(noun, "off",
                  "Puts the machine back. From then on a chosen profile is only remembered,\n"
                  "but for Battery and Disabled.",
                  "module off --wait", [](Context& context) { return Switch(context, false); });
    for (CLI::App* const verb : {on, off}) {
        verb->add_flag("--wait")->description(
            "wait until the actions were executed, 60 s unless --timeout says otherwise");
    }
    verbs.Add(noun, "status", "Tells whether the module is on.", "module status --json", &Status);
}

}  // namespace ctl
