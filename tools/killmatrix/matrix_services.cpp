#include "tools/killmatrix/matrix_services.h"

#include <cstddef>
#include <stdexcept>
#include <string>

#include <windows.h>

#include "frame/module_path.h"
#include "frame/text.h"
#include "tools/rig/scratch_services.h"

namespace killmatrix {

namespace {

using optimizer::ServiceHandle;
using rig::ServiceState;

constexpr const char* kPrefix = "service/";
constexpr const wchar_t* kNames = L"matrix_";  // of all services that belong to the machine

void Require(bool succeeded, const std::string& what) {
    if (!succeeded) throw std::runtime_error(what + " failed " + std::to_string(GetLastError()));
}

std::string Describe(const ServiceState& state) {
    return optimizer::Narrow(rig::ToText(state));
}

/// The state with that text, among those that a service may rest in.
ServiceState ParseState(const std::string& text) {
    for (const DWORD state : {SERVICE_RUNNING, SERVICE_STOPPED, SERVICE_PAUSED}) {
        for (const DWORD startType : {SERVICE_AUTO_START, SERVICE_DEMAND_START, SERVICE_DISABLED}) {
            const ServiceState candidate = {state, startType};
            if (Describe(candidate) == text) return candidate;
        }
    }
    throw std::runtime_error("no service rests in " + text);
}

ServiceState Query(SC_HANDLE service) {
    SERVICE_STATUS status = {};
    Require(QueryServiceStatus(service, &status), "QueryServiceStatus");
    alignas(QUERY_SERVICE_CONFIGW) std::byte buffer[8192];
    auto* const config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer);
    DWORD needed = 0;
    Require(QueryServiceConfigW(service, config, sizeof(buffer), &needed), "QueryServiceConfig");
    return {status.dwCurrentState, config->dwStartType};
}

void SetStartType(SC_HANDLE service, DWORD startType) {
    Require(ChangeServiceConfigW(service, SERVICE_NO_CHANGE, startType, SERVICE_NO_CHANGE, nullptr, nullptr,
                                 nullptr, nullptr, nullptr, nullptr, nullptr),
            "ChangeServiceConfig");
}

/// Gives the control again until the service rests in the state: one that is still on its way refuses it.
bool Control(SC_HANDLE service, DWORD control, DWORD state) {
    return rig::WaitUntil([&] {
        if (Query(service).state == state) return true;
        SERVICE_STATUS status = {};
        ControlService(service, control, &status);
        return false;
    });
}

bool Start(SC_HANDLE service) {
    // A disabled service starts for nobody.
    SetStartType(service, SERVICE_DEMAND_START);
    return rig::WaitUntil([&] {
        if (Query(service).state == SERVICE_RUNNING) return true;
        StartServiceW(service, 0, nullptr);
        return false;
    });
}

bool ReachState(SC_HANDLE service, DWORD wanted) {
    const DWORD state = Query(service).state;
    if (state == wanted) return true;
    if (wanted == SERVICE_STOPPED) return Control(service, SERVICE_CONTROL_STOP, wanted);
    const bool runs = state == SERVICE_PAUSED ? Control(service, SERVICE_CONTROL_CONTINUE, SERVICE_RUNNING)
                                              : Start(service);
    if (!runs || wanted == SERVICE_RUNNING) return runs;
    return Control(service, SERVICE_CONTROL_PAUSE, wanted);
}

}  // namespace

MatrixServices::MatrixServices() : m_manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS)) {
    Require(static_cast<bool>(m_manager), "OpenSCManager");
}

void MatrixServices::Install(const Picture& wanted) const {
    const std::wstring program = L"\"" + optimizer::GetModuleFolder() + L"scratch_service.exe\" ";
    for (const auto& [line, text] : wanted) {
        if (!line.starts_with(kPrefix)) continue;
        const std::wstring name = optimizer::Widen(line.substr(std::string(kPrefix).size()));
        const ServiceHandle service(CreateServiceW(m_manager.Get(), name.c_str(), nullptr, SERVICE_ALL_ACCESS,
                                                   SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START,
                                                   SERVICE_ERROR_NORMAL, (program + name).c_str(), nullptr,
                                                   nullptr, nullptr, nullptr, nullptr));
        Require(service || GetLastError() == ERROR_SERVICE_EXISTS, "CreateService");
    }
}

void MatrixServices::Describe(Picture& picture) const {
    alignas(ENUM_SERVICE_STATUSW) static std::byte buffer[65536];
    auto* const services = reinterpret_cast<ENUM_SERVICE_STATUSW*>(buffer);
    DWORD needed = 0;
    DWORD count = 0;
    Require(EnumServicesStatusW(m_manager.Get(), SERVICE_WIN32, SERVICE_STATE_ALL, services, sizeof(buffer),
                                &needed, &count, nullptr),
            "EnumServicesStatus");
    for (DWORD i = 0; i < count; ++i) {
        const std::wstring name = services[i].lpServiceName;
        if (!name.starts_with(kNames)) continue;
        const ServiceHandle service(OpenServiceW(m_manager.Get(), name.c_str(), SERVICE_ALL_ACCESS));
        Require(static_cast<bool>(service), "OpenService");
        picture[kPrefix + optimizer::Narrow(name)] = killmatrix::Describe(Query(service.Get()));
    }
}

void MatrixServices::Restore(const Picture& wanted) const {
    for (const auto& [line, text] : wanted) {
        if (!line.starts_with(kPrefix)) continue;
        const std::wstring name = optimizer::Widen(line.substr(std::string(kPrefix).size()));
        const ServiceHandle service(OpenServiceW(m_manager.Get(), name.c_str(), SERVICE_ALL_ACCESS));
        Require(static_cast<bool>(service), "OpenService");
        const ServiceState state = ParseState(text);
        if (!ReachState(service.Get(), state.state)) {
            throw std::runtime_error(line + " stays " + killmatrix::Describe(Query(service.Get())));
        }
        if (Query(service.Get()).startType != state.startType) SetStartType(service.Get(), state.startType);
    }
}

}  // namespace killmatrix
