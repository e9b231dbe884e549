// Shows the main job on this machine: services and programs of its own and the user's session are switched
// through the profiles by the real host, installed as a service and told by the command line tool, and put
// back. What is printed is what the system says: the service manager of a service, the scenes tell of the
// rest.
#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include <picojson.h>

#include "frame/json.h"
#include "frame/text.h"
#include "host/terminal/terminal.h"
#include "tools/demo/process_scene.h"
#include "tools/demo/session_scene.h"
#include "tools/rig/child_process.h"
#include "tools/rig/installation.h"
#include "tools/rig/scratch_services.h"

namespace {

using host::PrintLine;
using optimizer::Narrow;
using optimizer::Widen;
using rig::ServiceState;

/// A service of the demo: how it is found, and what the two profiles make of it. Texts are those of the
/// settings.
struct DemoService {
    const wchar_t* name;
    ServiceState found;
    ServiceState inWork;
    ServiceState inGame;
};

constexpr ServiceState kRunningAutomatic = {SERVICE_RUNNING, SERVICE_AUTO_START};
constexpr ServiceState kRunningManual = {SERVICE_RUNNING, SERVICE_DEMAND_START};
constexpr ServiceState kStoppedManual = {SERVICE_STOPPED, SERVICE_DEMAND_START};
constexpr ServiceState kStoppedDisabled = {SERVICE_STOPPED, SERVICE_DISABLED};
constexpr ServiceState kPausedManual = {SERVICE_PAUSED, SERVICE_DEMAND_START};

constexpr DemoService kServices[] = {
    {L"demo_indexer", kRunningAutomatic, kRunningManual, kStoppedDisabled},
    {L"demo_voice", kStoppedManual, kStoppedManual, kRunningAutomatic},
    {L"demo_backup", kPausedManual, kRunningAutomatic, kPausedManual},
    {L"demo_printing", kRunningManual, kRunningManual, kStoppedManual},
    {L"demo_telemetry", kStoppedDisabled, kStoppedDisabled, kStoppedDisabled},
};

using Column = ServiceState DemoService::*;

struct Step {
    const char* profile;
    Column wanted;
};

constexpr Step kSteps[] = {
    {"Work", &DemoService::inWork}, {"Game", &DemoService::inGame}, {"Disabled", &DemoService::found}};

picojson::value ProfileOf(const rig::ScratchServices& services, Column wanted) {
    picojson::array list;
    for (size_t i = 0; i < std::size(kServices); ++i) {
        const std::wstring text = ToText(kServices[i].*wanted);
        const size_t gap = text.find(L' ');
        picojson::object service;
        service["name"] = picojson::value(Narrow(services.Names()[i]));
        service["status"] = picojson::value(Narrow(text.substr(0, gap)));
        service["startup"] = picojson::value(Narrow(text.substr(gap + 1)));
        list.emplace_back(service);
    }
    return picojson::value(picojson::object{{"WindowsServices", picojson::value(list)}});
}

std::string Profiles(const rig::ScratchServices& services, const demo::SessionScene& session) {
    const picojson::value none{picojson::object()};
    const picojson::array systemActions{picojson::value("BlockWinNotification"), picojson::value("VisualFX"),
                                        picojson::value("WindowsServices")};
    picojson::value game = ProfileOf(services, &DemoService::inGame);
    session.AddActions(game.get<picojson::object>());
    game.get<picojson::object>()["WindowsProcesses"] = demo::ProcessScene::Settings();
    return picojson::value(picojson::object{{"SystemActions", picojson::value(systemActions)},
                                            {"Disabled", none},
                                            {"Work", ProfileOf(services, &DemoService::inWork)},
                                            {"Game", game},
                                            {"Movie", none},
                                            {"Battery", none}})
        .serialize();
}

void PrintServices(const std::wstring& title, const rig::ScratchServices& services) {
    PrintLine(L"");
    PrintLine(title);
    for (const std::wstring& name : services.Names()) {
        PrintLine(L"  " + name + std::wstring(name.size() < 24 ? 24 - name.size() : 1, L' ') +
                  ToText(services.Query(name)));
    }
}

void PrintRevertList(const rig::Installation& installation) {
    PrintLine(L"  revert list on disk (system_restore_profile.json):");
    picojson::value document;
    std::string error;
    const std::string text = installation.SystemRevertList();
    const picojson::value* const list =
        optimizer::json::Parse(text, document, error) ? optimizer::json::Find(document, "Disabled") : nullptr;
    if (list == nullptr || !list->is<picojson::object>()) {
        PrintLine(L"    " + Widen(text));
        return;
    }
    if (list->get<picojson::object>().empty()) PrintLine(L"    nothing to return to");
    for (const auto& [action, values] : list->get<picojson::object>()) {
        PrintLine(L"    " + Widen(action));
        if (!values.is<picojson::array>()) {
            PrintLine(L"      " + Widen(values.serialize()));
            continue;
        }
        for (const picojson::value& value : values.get<picojson::array>()) {
            PrintLine(L"      " + Widen(value.serialize()));
        }
    }
}

/// Waits until every service is as the step wants it; tells the ones that aren't.
bool HasFollowed(const rig::ScratchServices& services, Column wanted) {
    bool followed = true;
    for (size_t i = 0; i < std::size(kServices); ++i) {
        if (services.Reaches(services.Names()[i], kServices[i].*wanted)) continue;
        followed = false;
        host::PrintErrorLine(services.Names()[i] + L" should be " + ToText(kServices[i].*wanted) +
                             L" and isn't.");
    }
    return followed;
}

/// The host as the installed service of this machine, from here to the end of the demo. Uninstalling puts the
/// machine back also when the demo fails on its way.
class InstalledService {
public:
    explicit InstalledService(const rig::Installation& installation) : m_installation(installation) {
        Run(m_installation.Host(L"install"));
        Run(L"sc.exe start OptimizerHost");
    }
    ~InstalledService() {
        if (!m_removed) rig::RunProgram(m_installation.Host(L"uninstall"));
    }
    InstalledService(const InstalledService&) = delete;
    InstalledService& operator=(const InstalledService&) = delete;

    void Remove() {
        Run(m_installation.Host(L"uninstall"));
        m_removed = true;
    }

    /// Runs a command and shows it with what it prints.
    static void Run(const std::wstring& commandLine) {
        const size_t program = commandLine.rfind(L'\\');
        std::wstring shown = commandLine.substr(program == std::wstring::npos ? 0 : program + 1);
        const size_t quote = program == std::wstring::npos ? std::wstring::npos : shown.find(L'"');
        if (quote != std::wstring::npos) shown.erase(quote, 1);
        PrintLine(L"");
        PrintLine(L"> " + shown);
        const rig::ProgramRun run = rig::RunProgram(commandLine);
        for (const std::string& line : run.lines)
            PrintLine(L"  " + Widen(line));
        if (run.exitCode != 0) throw std::runtime_error("it ended with " + std::to_string(run.exitCode));
    }

private:
    const rig::Installation& m_installation;
    bool m_removed = false;
};

/// Prints what the watching client heard. Whether that was, for each step, the change and then the executed
/// actions; news of programs come when they come.
bool HeardInOrder(const std::vector<std::string>& lines) {
    std::vector<std::string> wanted;
    for (const Step& step : kSteps) {
        wanted.push_back(std::string("profileChanged ") + step.profile);
        wanted.push_back(std::string("actionsExecuted ") + step.profile);
    }
    std::vector<std::string> heard;
    for (const std::string& line : lines) {
        picojson::value event;
        std::string error;
        if (!optimizer::json::Parse(line, event, error)) continue;
        const std::string name = optimizer::json::ToText(optimizer::json::Find(event, "event")).value_or("");
        const auto profile = optimizer::json::ToText(optimizer::json::Find(event, "profile"));
        PrintLine(L"  " + Widen(line));
        if (name != "profileChanged" && name != "actionsExecuted") continue;
        heard.push_back(name + " " + profile.value_or(""));
    }
    return heard == wanted;
}

bool Fail(const std::wstring& sentence) {
    host::PrintErrorLine(sentence);
    return false;
}

/// The same steps by commands with an engine of their own, on a machine without the service.
bool StepsWithoutService(const rig::ScratchServices& services, const rig::Installation& installation) {
    PrintLine(L"");
    PrintLine(L"without a service: each command runs an engine of its own");
    InstalledService::Run(installation.Control(L"--in-process module on"));
    for (const Step& step : kSteps) {
        InstalledService::Run(installation.Control(L"--in-process profile set " + Widen(step.profile)));
        if (!HasFollowed(services, step.wanted)) return Fail(L"The services did not follow.");
    }
    PrintLine(L"  the services followed each step and are back");
    return true;
}

/// A command with an engine of its own is ended in the middle of its change, as a crash or a power cut would;
/// a new one finds by the notes what there is to put back.
bool KilledInTheMiddle(const rig::ScratchServices& services, const rig::Installation& installation) {
    PrintLine(L"");
    PrintLine(L"> optimizerctl --in-process profile set Game, killed as the first service has changed");
    const std::vector<ServiceState> before = services.QueryAll();
    rig::ChildProcess change(installation.Control(L"--in-process profile set Game"));
    const bool changed = rig::WaitUntil([&] { return services.QueryAll() != before; });
    change.Kill();
    if (!changed) return Fail(L"Nothing had changed.");
    PrintServices(L"as the killed engine left it", services);
    PrintRevertList(installation);
    InstalledService::Run(installation.Control(L"--in-process profile set Disabled"));
    if (!HasFollowed(services, &DemoService::found)) return Fail(L"The machine did not come back.");
    PrintServices(L"as the next one put it back", services);
    PrintRevertList(installation);
    return true;
}

bool RunDemo() {
    rig::ScratchServices services;
    for (const DemoService& service : kServices)
        services.Add(service.name, service.found);
    const demo::SessionScene session;
    const rig::Installation installation(Profiles(services, session));
    const std::vector<ServiceState> before = services.QueryAll();
    PrintServices(L"before, as the system says", services);
    demo::SessionScene::Print();

    if (!StepsWithoutService(services, installation)) return false;
    if (!KilledInTheMiddle(services, installation)) return false;
    InstalledService service(installation);
    if (!demo::SessionScene::WaitForAgent()) return false;
    InstalledService::Run(installation.Control(L"module on"));
    demo::ProcessScene programs(installation, &InstalledService::Run);
    rig::ChildProcess watch(installation.Control(L"watch --json"));
    if (!watch.WaitForLine("watching")) return Fail(L"The client that watches did not connect.");
    for (const Step& step : kSteps) {
        InstalledService::Run(installation.Control(L"profile set --wait " + Widen(step.profile)));
        if (!watch.WaitForLine(R"({"event":"actionsExecuted")")) return Fail(L"The event did not come.");
        if (!HasFollowed(services, step.wanted)) return Fail(L"The services did not follow.");
        if (!session.HasFollowed(step.wanted == &DemoService::inGame)) return false;
        PrintServices(L"profile " + Widen(step.profile), services);
        demo::SessionScene::Print();
        if (!programs.Follow(step.profile)) return Fail(L"The programs did not follow.");
        PrintRevertList(installation);
    }
    PrintLine(L"");
    PrintLine(L"what \"optimizerctl watch --json\" printed meanwhile");
    if (!HeardInOrder(watch.Lines())) return Fail(L"The events were not those of the steps, in their order.");
    if (!programs.WasTold(watch.Lines())) return Fail(L"The programs were not told of.");
    watch.Kill();
    service.Remove();

    const bool same = services.QueryAll() == before && session.IsAsFound() && programs.AreAsFound();
    PrintLine(L"");
    PrintLine(same ? L"after equals before" : L"after DIFFERS from before");
    return same;
}

}  // namespace

int wmain() {
    try {
        return RunDemo() ? 0 : 1;
    } catch (const std::exception& error) {
        host::PrintErrorLine(L"The demo can't go on: " + Widen(error.what()) + L".");
        return 1;
    }
}
