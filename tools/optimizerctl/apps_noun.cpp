#include "tools/optimizerctl/apps_noun.h"

#include <cwchar>

#include <windows.h>

#include <CLI/CLI.hpp>

#include "frame/text.h"
#include "host/optimizerprocessdp/application_file.h"
#include "host/optimizerprocessdp/application_lists.h"
#include "tools/optimizerctl/names.h"

namespace ctl {

namespace {

using host::Application;
using host::ApplicationLists;
using host::Applications;
using host::SettingsFileState;
using optimizer::profiles::profile;

constexpr size_t kNameWidth = 32;

profile FindListedProfile(const std::wstring& name) {
    std::vector<std::wstring> choices;
    for (const profile which : host::kListedProfiles) {
        choices.push_back(NameOf(which));
        if (_wcsicmp(name.c_str(), choices.back().c_str()) == 0) return which;
    }
    throw WrongUse(L"There is no list of applications for \"" + name + L"\"; choose " + ListChoices(choices) +
                   L".");
}

Application ApplicationOf(const Context& context) {
    Application application{context.Argument("NAME"), context.Argument("--product")};
    if (host::IsImageName(application.name)) return application;
    throw WrongUse(L"\"" + application.name +
                   L"\" is not the name of an application; give its file name without a folder, such as "
                   L"game.exe.");
}

std::wstring FilePath(Context& context) {
    return context.Machine().SettingsFolder() + host::kApplicationsFile;
}

/// False when there is no file, so that all lists are empty. Throws Failure for one that can't be used, since
/// writing over it would lose what it holds.
bool ReadLists(const std::wstring& path, ApplicationLists& lists) {
    std::wstring failure;
    const SettingsFileState state = host::ReadApplications(path, lists, failure);
    if (state == SettingsFileState::Ok) return true;
    if (state == SettingsFileState::Absent) return false;
    throw Failure(ExitCode::Refused, ERROR_INVALID_DATA,
                  L"The applications can't be read: " + failure + L".");
}

std::wstring TextOf(const Application& application) {
    return application.product.empty() ? application.name
                                       : application.name + L" of \"" + application.product + L"\"";
}

picojson::value DocumentOf(const Application& application) {
    return picojson::value(
        picojson::object{{"name", TextValue(application.name)}, {"product", TextValue(application.product)}});
}

ExitCode List(Context& context) {
    const profile which = FindListedProfile(context.Argument("PROFILE"));
    const std::wstring path = FilePath(context);
    ApplicationLists lists;
    if (!ReadLists(path, lists)) {
        throw Failure(ExitCode::Refused, ERROR_FILE_NOT_FOUND,
                      L"No profile has applications: there is no file " + path +
                          L" yet; \"optimizerctl apps add\" makes it.");
    }
    std::wstring text;
    picojson::array rows;
    for (const Application& application : *lists.Of(which)) {
        text += text.empty() ? L"" : L"\n";
        text += application.product.empty() ? application.name
                                            : Column(application.name, kNameWidth) + application.product;
        rows.push_back(DocumentOf(application));
    }
    if (rows.empty()) text = L"The profile " + NameOf(which) + L" has no applications.";
    context.Out().Tell(text,
                       {{"applications", picojson::value(rows)}, {"profile", TextValue(NameOf(which))}});
    return ExitCode::Done;
}

/// How the one list changes, and how that is told: "NAME is <done> the list of PROFILE."
struct Change {
    bool (*apply)(Applications& list, const Application& application);
    const wchar_t* done;
    const wchar_t* needless;
};

constexpr Change kAdding = {&host::AddApplication, L" is now in", L" is in"};
constexpr Change kRemoving = {&host::RemoveApplication, L" is no longer in", L" is not in"};

ExitCode Edit(Context& context, const Change& change) {
    const profile which = FindListedProfile(context.Argument("PROFILE"));
    const Application application = ApplicationOf(context);
    const std::wstring path = FilePath(context);
    ApplicationLists lists;
    ReadLists(path, lists);
    const bool changed = change.apply(*lists.Of(which), application);
    std::wstring failure;
    if (changed && !host::WriteApplications(path, lists, failure))
        throw Failure(ExitCode::Refused, 0, L"The list is not stored: " + failure + L".");
    const std::wstring list = L" the list of " + NameOf(which);
    context.Out().Tell(TextOf(application) + (changed ? change.done + list + L"."
                                                      : change.needless + list + L"; nothing changed."),
                       {{"application", DocumentOf(application)},
                        {"changed", picojson::value(changed)},
                        {"profile", TextValue(NameOf(which))}});
    return ExitCode::Done;
}

}  // namespace

void AddAppsNoun(CLI::App& app, Verbs& verbs) {
    CLI::App& noun = *app.add_subcommand(
        "apps", "Reads or changes which applications a profile prefers. It needs no service.");
    noun.require_subcommand(0, 1);
    CLI::App* const list =
        verbs.Add(noun, "list", "Lists a profile's applications.", "apps list Game", &List);
    CLI::App* const add = verbs.Add(noun, "add", "Puts an application in a profile's list.",
                                    "apps add Game game.exe --product \"The Game\"",
                                    [](Context& context) { return Edit(context, kAdding); });
    CLI::App* const remove =
        verbs.Add(noun, "remove", "Takes an application out of a profile's list.",
                  "apps remove Game game.exe", [](Context& context) { return Edit(context, kRemoving); });
    for (CLI::App* verb : {list, add, remove})
        verb->add_option("PROFILE", "Work, Game or Movie")->required();
    for (CLI::App* verb : {add, remove}) {
        verb->add_option("NAME", "file name of its program, without a folder")->required();
        verb->add_option("--product", "product name in its version resource; any without this")
            ->type_name("TEXT");
    }
}

}  // namespace ctl
