#include "tools/optimizerctl/profile_noun.h"

#include <optional>
#include <utility>

#include <CLI/CLI.hpp>

#include "tools/optimizerctl/actions_wait.h"
#include "tools/optimizerctl/names.h"
#include "tools/optimizerctl/run_outcome.h"

namespace ctl {

namespace {

using optimizer::profiles::profile;

profile ActiveProfile(IOptimizer& engine) {
    profile active = profile::Disabled;
    Require(engine.GetProfile(&active), L"The active profile can't be told");
    return active;
}

ExitCode Get(Context& context) {
    const std::wstring name = NameOf(ActiveProfile(context.Engine()));
    context.Out().Tell(name, {{"profile", TextValue(name)}});
    return ExitCode::Done;
}

ExitCode List(Context& context) {
    const std::wstring active = NameOf(ActiveProfile(context.Engine()));
    std::wstring text;
    picojson::array rows;
    for (const std::wstring& name : ProfileNames()) {
        const bool isActive = name == active;
        text += (text.empty() ? L"" : L"\n") + (isActive ? Column(name, 10) + L"active" : name);
        rows.emplace_back(picojson::object{{"active", picojson::value(isActive)}, {"name", TextValue(name)}});
    }
    context.Out().Tell(text, {{"profiles", picojson::value(rows)}});
    return ExitCode::Done;
}

/// A module that is off remembers a choice without carrying it out, but for these two.
bool RunsActions(IOptimizer& engine, profile wanted) {
    if (wanted == profile::Disabled || wanted == profile::Battery) return true;
    bool enabled = false;
    Require(engine.GetModuleEnable(&enabled), L"The module's state can't be told");
    return enabled;
}

/// What was active already: in an engine that has just started its actions may still run.
ExitCode TellActive(Context& context, IOptimizer& engine, std::optional<EventInbox>& inbox,
                    const std::wstring& name, picojson::object document, Clock::time_point start) {
    document["changed"] = picojson::value(false);
    const std::optional<host::LastRun> run =
        inbox ? WaitForRun(context, engine, *inbox, start) : AskLastRun(engine);
    if (run && run->running) {
        context.Out().Tell(L"The profile " + name + L" is chosen already; its actions run.", document);
        return ExitCode::Done;
    }
    const RunTexts texts = {L"The profile " + name + L" is active already.",
                            L"The profile " + name + L" is chosen already"};
    return TellOutcome(context, texts, std::move(document), run);
}

/// A choice that the module, which is off, only keeps. What the start of an engine of this process's own puts
/// back goes on beside it.
ExitCode TellRemembered(Context& context, IOptimizer& engine, std::optional<EventInbox>& inbox,
                        const std::wstring& name, picojson::object document, Clock::time_point start) {
    document["executed"] = picojson::value(false);
    const std::wstring done = L"The profile " + name +
                              L" is set. The module is off, so that its actions don't run before "
                              L"\"optimizerctl module on\".";
    std::optional<host::LastRun> run;
    if (context.IsInProcess()) run = WaitForRun(context, engine, *inbox, start);
    const std::wstring begin = L"The profile " + name + L" is set and waits for \"optimizerctl module on\"";
    return TellOutcome(context, {done, begin}, std::move(document), run);
}

ExitCode TellExecuted(Context& context, IOptimizer& engine, EventInbox& inbox, profile wanted,
                      picojson::object document, Clock::time_point start) {
    const std::wstring begin = L"The profile " + NameOf(wanted) + L" is set";
    const std::optional<host::LastRun> run = WaitForActions(context, engine, inbox, wanted, wanted, start);
    const uint64_t tookMs = MillisecondsSince(start);
    document["executed"] = picojson::value(!run || run->problems.empty());
    document["milliseconds"] = NumberValue(tookMs);
    const std::wstring done = begin + L"; its actions were executed in " + SecondsText(tookMs) + L".";
    return TellOutcome(context, {done, begin}, std::move(document), run);
}

ExitCode Set(Context& context) {
    const profile wanted = FindProfile(context.Argument("PROFILE"));
    const std::wstring name = NameOf(wanted);
    picojson::object document{{"profile", TextValue(name)}, {"changed", picojson::value(true)}};
    IOptimizer& engine = context.Engine();
    // Listens before it asks: the answer to a quick change is out before the request returns.
    std::optional<EventInbox> inbox;
    if (context.Has("--wait") || context.IsInProcess()) inbox.emplace(engine);
    const Clock::time_point start = Clock::now();
    const uint32_t error = engine.SetProfile(&wanted);
    if (error == ERROR_ALREADY_EXISTS) return TellActive(context, engine, inbox, name, document, start);
    Require(error, L"The engine refuses the profile " + name);
    if (!RunsActions(engine, wanted)) return TellRemembered(context, engine, inbox, name, document, start);
    if (inbox) return TellExecuted(context, engine, *inbox, wanted, document, start);
    context.Out().Tell(L"The profile " + name + L" is set; its actions run.", document);
    return ExitCode::Done;
}

}  // namespace

void AddProfileNoun(CLI::App& app, Verbs& verbs) {
    CLI::App& noun = *app.add_subcommand("profile", "Reads or sets the active profile.");
    noun.require_subcommand(0, 1);
    verbs.Add(noun, "get", "Tells the active profile.", "profile get", &Get);
    CLI::App* const set =
        verbs.Add(noun, "set", "Makes a profile the active one. \"Disabled\" puts the machine back.",
                  "profile set Game --wait --timeout 120", &Set);
    set->add_option("PROFILE", "Disabled, Work, Game, Movie or Battery")->required();
    set->add_flag("--wait")->description(
        "wait until its actions were executed, 60 s unless --timeout says otherwise");
    verbs.Add(noun, "list", "Lists the profiles and marks the active one.", "profile list", &List);
}

}  // namespace ctl
