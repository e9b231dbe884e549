#include "tools/optimizerctl/module_noun.h"

namespace ctl {

namespace {

ExitCode Switch(Context& context, bool on) {
    const std::wstring word = on ? L"on" : L"off";
    Require(context.Engine().SetModuleEnable(on), L"The module can't be switched " + word);
    context.Out().Tell(L"The module is " + word + L".", {{"on", picojson::value(on)}});
    return ExitCode::Done;
}

ExitCode Status(Context& context) {
    bool on = false;
    Require(context.Engine().GetModuleEnable(&on), L"The module's state can't be told");
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
