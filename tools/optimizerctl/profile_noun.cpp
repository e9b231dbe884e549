#include "tools/optimizerctl/profile_noun.h"

#include <algorithm>
#include <chrono>

#include "tools/optimizerctl/event_inbox.h"
#include "tools/optimizerctl/names.h"

namespace ctl {

namespace {

using optimizer::profiles::profile;
using Clock = std::chrono::steady_clock;

constexpr uint32_t kDefaultWaitMs = 60000;
constexpr uint32_t kPollMs = 1000;

uint64_t MillisecondsSince(Clock::time_point start) {
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
}

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

/// Looks whether the service still answers and the profile is still the one that is waited for.
void CheckStillComing(IOptimizer& engine, profile wanted) {
    const profile active = ActiveProfile(engine);
    if (active == wanted) return;
    throw Failure(ExitCode::Refused, ERROR_CANCELLED,
                  L"Somebody chose " + NameOf(active) + L" before the actions of " + NameOf(wanted) +
                      L" were executed.");
}

/// Returns when the actions of the profile were executed.
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
                              L"; they may still run.");
        }
        context.Out().ShowProgress(L"The actions of " + NameOf(wanted) + L" run, " +
                                   std::to_wstring(waitedMs / 1000) + L" s");
        const auto pauseMs = static_cast<DWORD>(std::min<uint64_t>(kPollMs, limitMs - waitedMs));
        if (WaitForSingleObject(inbox.Signal(), pauseMs) == WAIT_TIMEOUT && pauseMs == kPollMs)
            CheckStillComing(engine, wanted);
    }
}

ExitCode Set(Context& context) {
    const profile wanted = FindProfile(context.Argument("PROFILE"));
    const std::wstring name = NameOf(wanted);
    picojson::object document{{"profile", TextValue(name)}, {"changed", picojson::value(true)}};
    IOptimizer& engine = context.Engine();
    // Listens before it asks: the answer to a quick change is out before the request returns.
    std::optional<EventInbox> inbox;
    if (context.Has("--wait")) inbox.emplace(engine);
    const Clock::time_point start = Clock::now();
    const uint32_t error = engine.SetProfile(&wanted);
    if (error == ERROR_ALREADY_EXISTS) {
        document["changed"] = picojson::value(false);
        context.Out().Tell(L"The profile " + name + L" is active already.", document);
        return ExitCode::Done;
    }
    Require(error, L"The engine refuses the profile " + name);
    if (!RunsActions(engine, wanted)) {
        document["executed"] = picojson::value(false);
        context.Out().Tell(L"The profile " + name +
                               L" is set. The module is off, so that its actions don't run before "
                               L"\"optimizerctl module on\".",
                           document);
    } else if (!inbox) {
        context.Out().Tell(L"The profile " + name + L" is set; its actions run.", document);
    } else {
        WaitForActions(context, engine, *inbox, wanted, start);
        const uint64_t tookMs = MillisecondsSince(start);
        document["executed"] = picojson::value(true);
        document["milliseconds"] = NumberValue(tookMs);
        context.Out().ShowProgress(L"");
        context.Out().Tell(
            L"The profile " + name + L" is set; its actions were executed in " + SecondsText(tookMs) + L".",
            document);
    }
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
