// Shows the main job on this machine: services of its own are switched through the profiles by the real host
// and put back. What is printed of a service is what the service manager says of it.
#include <exception>
#include <map>
#include <string>
#include <vector>

#include <picojson.h>

#include "frame/json.h"
#include "frame/text.h"
#include "host/terminal/terminal.h"
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

std::string Profiles(const rig::ScratchServices& services) {
    const picojson::value none{picojson::object()};
    const picojson::array systemActions{picojson::value("WindowsServices")};
    return picojson::value(picojson::object{{"SystemActions", picojson::value(systemActions)},
                                            {"Disabled", none},
                                            {"Work", ProfileOf(services, &DemoService::inWork)},
                                            {"Game", ProfileOf(services, &DemoService::inGame)},
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
        if (!values.is<picojson::array>()) continue;
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

bool Fail(const std::wstring& sentence, rig::ChildProcess& child) {
    host::PrintErrorLine(sentence);
    for (const std::string& line : child.Lines())
        host::PrintErrorLine(L"  host: " + Widen(line));
    return false;
}

bool RunDemo() {
    rig::ScratchServices services;
    for (const DemoService& service : kServices)
        services.Add(service.name, service.found);
    const rig::Installation installation(Profiles(services));
    const std::vector<ServiceState> before = services.QueryAll();
    PrintServices(L"before, as the service manager says", services);

    rig::ChildProcess hostProcess(installation.Host(L"console"));
    if (!hostProcess.WaitForLine("ready")) return Fail(L"The host did not start.", hostProcess);
    hostProcess.Send("module on");
    for (const Step& step : kSteps) {
        hostProcess.Send(std::string("profile ") + step.profile);
        if (!hostProcess.WaitForLine(std::string("event: actions executed for ") + step.profile)) {
            return Fail(L"The host did not carry out the profile.", hostProcess);
        }
        if (!HasFollowed(services, step.wanted)) return Fail(L"The services did not follow.", hostProcess);
        PrintServices(L"profile " + Widen(step.profile), services);
        PrintRevertList(installation);
    }
    hostProcess.Send("quit");
    if (hostProcess.Finish() != 0) return Fail(L"The host did not end well.", hostProcess);

    const bool same = services.QueryAll() == before;
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
