#include "tools/optimizerctl/config_noun.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include <CLI/CLI.hpp>

#include "frame/json.h"
#include "frame/text.h"
#include "frame/vx_string.h"
#include "tools/optimizerctl/config_text.h"
#include "tools/optimizerctl/names.h"

namespace ctl {

namespace {

using optimizer::profiles::profile;

picojson::object ReadConfig(IOptimizer& engine, profile which) {
    vx::String text;
    Require(engine.GetProfileConfig(&which, &text), L"The config of " + NameOf(which) + L" can't be read");
    picojson::value config;
    std::string error;
    if (!optimizer::json::Parse(optimizer::Narrow(text.Text()), config, error) ||
        !config.is<picojson::object>()) {
        throw Failure(ExitCode::Refused, ERROR_INVALID_DATA,
                      L"The engine's config of " + NameOf(which) + L" is not a JSON object.");
    }
    return config.get<picojson::object>();
}

void StoreConfig(IOptimizer& engine, profile which, const picojson::object& config) {
    const std::wstring text = optimizer::Widen(picojson::value(config).serialize());
    vx::String crossing(text.c_str());
    Require(engine.SetProfileConfig(&which, &crossing),
            L"The config of " + NameOf(which) +
                L" is not stored; somebody must be logged on, and the settings folder must be writable");
}

/// The text of the argument: itself, "@FILE" or "-" for standard input.
std::string ConfigText(Context& context) {
    const std::wstring argument = context.Argument("JSON");
    if (argument == L"-") return context.Terminal().ReadInput();
    if (!argument.starts_with(L'@')) return optimizer::Narrow(argument);
    const std::wstring path = argument.substr(1);
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    if (!file) {
        const DWORD error = GetLastError();
        throw Failure(ExitCode::Usage, error,
                      L"The file " + path + L" can't be read: " + optimizer::SystemErrorText(error) + L".");
    }
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

ExitCode Get(Context& context) {
    const profile which = FindProfile(context.Argument("PROFILE"));
    const picojson::value config(ReadConfig(context.Engine(), which));
    const std::wstring pretty = optimizer::Widen(config.serialize(true));
    context.Out().Tell(pretty.substr(0, pretty.find_last_not_of(L'\n') + 1),
                       {{"config", config}, {"profile", TextValue(NameOf(which))}});
    return ExitCode::Done;
}

ExitCode Set(Context& context) {
    const profile which = FindProfile(context.Argument("PROFILE"));
    const picojson::object config = ParseConfig(ConfigText(context));
    StoreConfig(context.Engine(), which, config);
    context.Out().Tell(L"The config of " + NameOf(which) + L" is stored.",
                       {{"config", picojson::value(config)}, {"profile", TextValue(NameOf(which))}});
    return ExitCode::Done;
}

ExitCode Switch(Context& context, bool active) {
    const profile which = FindProfile(context.Argument("PROFILE"));
    const std::wstring action = FindAction(context.Argument("ACTION"));
    IOptimizer& engine = context.Engine();
    StoreConfig(engine, which, WithAction(ReadConfig(engine, which), optimizer::Narrow(action), active));
    context.Out().Tell(L"The action " + action + L" is " + (active ? L"enabled" : L"disabled") + L" in " +
                           NameOf(which) + L".",
                       {{"action", TextValue(action)},
                        {"active", picojson::value(active)},
                        {"profile", TextValue(NameOf(which))}});
    return ExitCode::Done;
}

}  // namespace

void AddConfigNoun(CLI::App& app, Verbs& verbs) {
    CLI::App& noun = *app.add_subcommand("config", "Reads or changes the user's own settings of a profile.");
    noun.require_subcommand(0, 1);
    CLI::App* const get = verbs.Add(noun, "get", "Prints a profile's settings.", "config get Work", &Get);
    CLI::App* const set =
        verbs.Add(noun, "set", "Replaces a profile's settings.", "config set Work @work.json", &Set);
    CLI::App* const enable =
        verbs.Add(noun, "enable", "Lets a profile carry an action out.", "config enable Work WindowsServices",
                  [](Context& context) { return Switch(context, true); });
    CLI::App* const disable =
        verbs.Add(noun, "disable", "Keeps a profile from carrying an action out.",
                  "config disable Game VisualFX", [](Context& context) { return Switch(context, false); });
    for (CLI::App* verb : {get, set, enable, disable})
        verb->add_option("PROFILE", "Disabled, Work, Game, Movie or Battery")->required();
    set->add_option("JSON", "object of action names, each with \"active\"; @FILE reads a file, - the input")
        ->required();
    const std::string actions = optimizer::Narrow(ListChoices(ActionNames()));
    for (CLI::App* verb : {enable, disable})
        verb->add_option("ACTION", actions)->required();
}

}  // namespace ctl
