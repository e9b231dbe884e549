// The stand-alone host: a Windows service, and the same thing in a console.
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "frame/text.h"
#include "host/service/console.h"
#include "host/service/engine_host.h"
#include "host/service/service_control.h"
#include "host/settings_check/settings_check.h"
#include "host/terminal/command_line.h"
#include "host/terminal/terminal.h"

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kUsage = 2;

int Console(const std::wstring& pluginList) {
    bool sound = true;
    for (const host::SettingsFinding& finding : host::CheckSettings(host::FindSettingsFolder())) {
        host::PrintErrorLine(finding.sentence);
        if (finding.prevents) return kFailed;
        sound = false;
    }
    host::EngineHost engineHost;
    std::wstring problem;
    if (!engineHost.Start(pluginList, problem)) {
        host::PrintErrorLine(problem);
        return kFailed;
    }
    return host::RunConsole(engineHost) && sound ? kDone : kFailed;
}

int Uninstall(const std::wstring& pluginList, bool force) {
    std::vector<std::wstring> told;
    const bool removed = host::UninstallService(pluginList, force, told);
    for (const std::wstring& sentence : told)
        host::PrintErrorLine(sentence);
    if (!removed) return kFailed;
    host::PrintLine(told.empty() ? L"The machine is put back, the service removed."
                                 : L"The service is removed; the machine is not put back in everything.");
    return kDone;
}

int Install(bool forTrial) {
    std::vector<std::wstring> told;
    const bool installed = host::InstallService(forTrial, told);
    for (const std::wstring& sentence : told)
        host::PrintErrorLine(sentence);
    if (installed) host::PrintLine(L"The service is installed.");
    return installed ? kDone : kFailed;
}

int Report(bool done, const std::wstring& sentence, const std::wstring& problem) {
    if (!done) {
        host::PrintErrorLine(problem);
        return kFailed;
    }
    if (!sentence.empty()) host::PrintLine(sentence);
    return kDone;
}

int Run(const std::vector<std::wstring>& arguments) {
    CLI::App app("Runs the profile engine as a service or in a console.", "optimizerhost");
    app.require_subcommand(1);
    std::string listOption;
    app.add_option("--plugins", listOption, "plug-in list to load instead of settings\\service_plugins.xml");
    const auto* const console = app.add_subcommand("console", "run here until the input ends or Ctrl+C");
    auto* const install = app.add_subcommand("install", "register the service");
    bool forTrial = false;
    install->add_flag(
        "--allow-writable-folder", forTrial,
        "also from a folder that users may write, for trials: they could take over this machine");
    auto* const uninstall = app.add_subcommand("uninstall", "put the machine back and remove the service");
    bool force = false;
    uninstall->add_flag("--force", force, "remove the service also when something can't be put back");
    const auto* const run = app.add_subcommand("run", "for the service manager");

    try {
        host::ParseArguments(app, arguments);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kDone : kUsage;
    }
    const std::wstring pluginList =
        listOption.empty() ? host::DefaultPluginList() : optimizer::Widen(listOption);
    std::wstring problem;
    if (console->parsed()) return Console(pluginList);
    if (install->parsed()) return Install(forTrial);
    if (uninstall->parsed()) return Uninstall(pluginList, force);
    return run->parsed() ? Report(host::RunService(pluginList, problem), L"", problem) : kUsage;
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    try {
        return Run({arguments + 1, arguments + count});
    } catch (const std::exception& error) {
        host::PrintErrorLine(L"The program ends on an unexpected failure: " + optimizer::Widen(error.what()) +
                             L".");
        return kFailed;
    }
}
