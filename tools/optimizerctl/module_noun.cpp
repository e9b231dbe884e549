#include "tools/optimizerctl/module_noun.h"

#include <CLI/CLI.hpp>

#include "tools/optimizerctl/actions_wait.h"

namespace ctl {

namespace {

using optimizer::profiles::profile;

bool IsOn(IOptimizer& engine) {
    bool on = false;
    Require(engine.GetModuleEnable(&on), L"The module's state can't be told");
    return on;
}

/// An engine that ends with the verb is given the time to carry the switch out.
void SwitchAndWait(Context& context, IOptimizer& engine, bool on, const std::wstring& failure) {
    profile active = profile::Disabled;
    Require(engine.GetProfile(&active), L"The active profile can't be told");
    const bool nothingToDo = IsOn(engine) == on || active == profile::Disabled;
    EventInbox inbox(engine);
    const Clock::time_point start = Clock::now();
    Require(engine.SetModuleEnable(on), failure);
    if (!nothingToDo) WaitForActions(context, engine, inbox, on ? active : profile::Disabled, start);
    context.Out().ShowProgress(L"");
}

ExitCode Switch(Context& context, bool on) {
    const std::wstring word = on ? L"on" : L"off";
    const std::wstring failure = L"The module can't be switched " + word;
    IOptimizer& engine = context.Engine();
    if (context.IsInProcess()) {
        SwitchAndWait(context, engine, on, failure);
    } else {
        Require(engine.SetModuleEnable(on), failure);
    }
    context.Out().Tell(L"The module is " + word + L".", {{"on", picojson::value(on)}});
    return ExitCode::Done;
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
    verbs.Add(noun, "on", "Lets the active profile be carried out.", "module on",
              [](Context& context) { return Switch(context, true); });
    verbs.Add(noun, "off",
              "Puts the machine back. From then on a chosen profile is only remembered,\n"
              "but for Battery and Disabled.",
              "module off", [](Context& context) { return Switch(context, false); });
    verbs.Add(noun, "status", "Tells whether the module is on.", "module status --json", &Status);
}

}  // namespace ctl
