#include "tools/optimizerctl/machine.h"

#include <iterator>

#include <windows.h>

#include "frame/handles.h"
#include "host/service/service_control.h"
#include "host/settings_check/settings_check.h"

namespace ctl {

namespace {

using optimizer::ServiceHandle;

/// By SERVICE_STOPPED and its like, which count from 1.
constexpr const wchar_t* kStates[] = {L"stopped",  L"starting", L"stopping", L"running",
                                      L"resuming", L"pausing",  L"paused"};

}  // namespace

ServiceState Machine::QueryService() {
    ServiceState result;
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!manager) {
        result.error = GetLastError();
        return result;
    }
    const ServiceHandle service(OpenServiceW(manager.Get(), host::kServiceName, SERVICE_QUERY_STATUS));
    if (!service) {
        const DWORD error = GetLastError();
        if (error != ERROR_SERVICE_DOES_NOT_EXIST) result.error = error;
        return result;
    }
    result.installed = true;
    SERVICE_STATUS status = {};
    if (!QueryServiceStatus(service.Get(), &status)) {
        result.error = GetLastError();
        return result;
    }
    result.running = status.dwCurrentState == SERVICE_RUNNING;
    const DWORD index = status.dwCurrentState - SERVICE_STOPPED;
    result.state = index < std::size(kStates) ? kStates[index] : L"in an unknown state";
    return result;
}

std::wstring Machine::SettingsFolder() {
    return host::FindSettingsFolder();
}

std::wstring Machine::Name() {
    wchar_t name[MAX_COMPUTERNAME_LENGTH + 1] = {};
    auto size = static_cast<DWORD>(std::size(name));
    return GetComputerNameW(name, &size) ? name : L"";
}

}  // namespace ctl
