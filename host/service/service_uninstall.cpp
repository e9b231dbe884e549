#include <windows.h>

#include "border/optimizer.h"
#include "border/uninstall.h"
#include "frame/handles.h"
#include "frame/plugin_request.h"
#include "frame/uninstall_event.h"
#include "host/service/agent_arrival.h"
#include "host/service/engine_host.h"
#include "host/service/refusal.h"
#include "host/service/service_control.h"
#include "host/settings_check/settings_check.h"

namespace host {

namespace {

using optimizer::ServiceHandle;

constexpr DWORD kStopPatienceMs = 60000;
constexpr DWORD kPollMs = 50;
constexpr const wchar_t* kEngine = L"optimizeral";

bool IsStopped(SC_HANDLE service) {
    SERVICE_STATUS status = {};
    return !QueryServiceStatus(service, &status) || status.dwCurrentState == SERVICE_STOPPED;
}

/// Takes the word of an uninstall back at the end, where no engine has heard it: one that is stopped much
/// later would put the machine back for nobody, and forget the profile that was chosen.
class UninstallWord {
public:
    UninstallWord() = default;
    ~UninstallWord() {
        if (m_event) ResetEvent(m_event.Get());
    }
    UninstallWord(const UninstallWord&) = delete;
    UninstallWord& operator=(const UninstallWord&) = delete;

private:
    const optimizer::KernelHandle m_event = optimizer::OpenUninstallEvent();
};

/// Tells a running engine of the uninstall and stops its service.
bool StopForUninstall(SC_HANDLE service, std::wstring& problem) {
    if (IsStopped(service)) return true;
    // Not in the way of the rest: anybody may have taken the event's name, and the engine that is run for it
    // afterwards puts back what this one doesn't.
    std::wstring unheard;
    static_cast<void>(NotifyUninstall(unheard));
    SERVICE_STATUS status = {};
    if (!ControlService(service, SERVICE_CONTROL_STOP, &status)) {
        const DWORD error = GetLastError();
        if (error != ERROR_SERVICE_NOT_ACTIVE) {
            problem = Refused(L"The service can't be stopped", error);
            return false;
        }
    }
    for (DWORD waitedMs = 0; !IsStopped(service); waitedMs += kPollMs) {
        if (waitedMs >= kStopPatienceMs) {
            problem = L"The service did not stop within a minute; end it and uninstall again.";
            return false;
        }
        Sleep(kPollMs);
    }
    return true;
}

/// By itself and not by the event, whose signal anybody may take; false for an engine that doesn't know it.
bool TellEngine(IComponentManager* components) {
    auto* const engine = optimizer::RequestPlugin<IOptimizer>(components, kEngine);
    if (engine == nullptr) return false;
    auto* const uninstall = static_cast<IUninstall*>(engine->QueryInterface(&IUninstall::kIdentifier));
    if (uninstall != nullptr) uninstall->ExpectUninstall();
    components->ReleasePlugin(kEngine);
    return uninstall != nullptr;
}

/// Runs the engine for the one purpose of putting the machine back.
bool PutMachineBack(const std::wstring& pluginList, std::wstring& problem) {
    EngineHost host;
    if (!host.Start(pluginList, problem)) return false;
    WaitForSessionAgent(host.Components());
    const bool told = TellEngine(host.Components()) || NotifyUninstall(problem);
    host.Stop();
    return told;
}

/// Null with a sentence in `problem`.
ServiceHandle OpenForUninstall(std::wstring& problem) {
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!manager) {
        const DWORD error = GetLastError();
        problem = Refused(L"The service manager can't be opened", error);
        return {};
    }
    constexpr DWORD kAccess = SERVICE_STOP | SERVICE_QUERY_STATUS | DELETE;
    ServiceHandle service(OpenServiceW(manager.Get(), kServiceName, kAccess));
    const DWORD error = GetLastError();
    if (!service) problem = Refused(L"The service can't be opened", error);
    return service;
}

}  // namespace

bool UninstallService(const std::wstring& pluginList, bool force, std::vector<std::wstring>& told) {
    std::wstring problem;
    const ServiceHandle service = OpenForUninstall(problem);
    const UninstallWord word;
    if (!service) {
        told.push_back(problem);
        return false;
    }
    if (!StopForUninstall(service.Get(), problem)) {
        told.push_back(problem + L" The service stays registered; uninstall again when that is mended.");
        return false;
    }
    if (!PutMachineBack(pluginList, problem)) told.push_back(problem);
    const std::wstring folder = FindSettingsFolder();
    for (const std::wstring& sentence : StillNoted(folder))
        told.push_back(sentence);
    if (!told.empty() && !force) {
        told.emplace_back(
            L"The service stays registered; uninstall again when that is mended, or give it up with "
            L"\"optimizerhost uninstall --force\".");
        return false;
    }
    if (!told.empty()) told.push_back(L"What is noted stays in " + folder + L".");
    if (DeleteService(service.Get())) return true;
    const DWORD error = GetLastError();
    told.push_back(Refused(L"The service can't be removed", error));
    return false;
}

}  // namespace host
