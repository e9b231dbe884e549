#include "tools/rig/scratch_services.h"

#include <stdexcept>

#include "frame/module_path.h"

namespace rig {

namespace {

using optimizer::ServiceHandle;

void Require(bool succeeded, const char* what) {
    if (!succeeded) throw std::runtime_error(std::string(what) + " failed " + std::to_string(GetLastError()));
}

}  // namespace

std::wstring ToText(const ServiceState& state) {
    static constexpr const wchar_t* kStates[] = {
        L"?",       L"STOPPED",          L"START_PENDING", L"STOP_PENDING",
        L"RUNNING", L"CONTINUE_PENDING", L"PAUSE_PENDING", L"PAUSED"};
    static constexpr const wchar_t* kStartTypes[] = {L"BOOT", L"SYSTEM", L"AUTOMATIC", L"MANUAL",
                                                     L"DISABLED"};
    return std::wstring(kStates[state.state < 8 ? state.state : 0]) + L" " +
           (state.startType < 5 ? kStartTypes[state.startType] : L"?");
}

ScratchServices::ScratchServices() : m_manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS)) {
    Require(static_cast<bool>(m_manager), "OpenSCManager");
}

ScratchServices::~ScratchServices() {
    for (const std::wstring& name : m_names) {
        const ServiceHandle service(OpenServiceW(m_manager.Get(), name.c_str(), SERVICE_ALL_ACCESS));
        if (!service) continue;
        SERVICE_STATUS status = {};
        ControlService(service.Get(), SERVICE_CONTROL_STOP, &status);
        DeleteService(service.Get());
    }
}

ServiceHandle ScratchServices::_Open(const std::wstring& name) const {
    ServiceHandle service(OpenServiceW(m_manager.Get(), name.c_str(), SERVICE_ALL_ACCESS));
    Require(static_cast<bool>(service), "OpenService");
    return service;
}

std::wstring ScratchServices::Add(const std::wstring& name, const ServiceState& wanted) {
    std::wstring full = name + L"_" + std::to_wstring(GetCurrentProcessId());
    const std::wstring command = L"\"" + optimizer::GetModuleFolder() + L"scratch_service.exe\" " + full;
    const ServiceHandle service(CreateServiceW(m_manager.Get(), full.c_str(), nullptr, SERVICE_ALL_ACCESS,
                                               SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START,
                                               SERVICE_ERROR_NORMAL, command.c_str(), nullptr, nullptr,
                                               nullptr, nullptr, nullptr));
    Require(static_cast<bool>(service), "CreateService");
    m_names.push_back(full);
    if (wanted.state != SERVICE_STOPPED) {
        Require(StartServiceW(service.Get(), 0, nullptr), "StartService");
        Require(Reaches(full, {SERVICE_RUNNING, SERVICE_DEMAND_START}), "waiting for the start");
    }
    if (wanted.state == SERVICE_PAUSED) {
        SERVICE_STATUS status = {};
        Require(ControlService(service.Get(), SERVICE_CONTROL_PAUSE, &status), "ControlService");
    }
    SetStartType(full, wanted.startType);
    Require(Reaches(full, wanted), "waiting for the state");
    return full;
}

ServiceState ScratchServices::Query(const std::wstring& name) const {
    const ServiceHandle service = _Open(name);
    SERVICE_STATUS status = {};
    Require(QueryServiceStatus(service.Get(), &status), "QueryServiceStatus");
    alignas(QUERY_SERVICE_CONFIGW) std::byte buffer[8192];
    auto* const config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer);
    DWORD needed = 0;
    Require(QueryServiceConfigW(service.Get(), config, sizeof(buffer), &needed), "QueryServiceConfig");
    return {status.dwCurrentState, config->dwStartType};
}

std::vector<ServiceState> ScratchServices::QueryAll() const {
    std::vector<ServiceState> states;
    for (const std::wstring& name : m_names)
        states.push_back(Query(name));
    return states;
}

bool ScratchServices::Reaches(const std::wstring& name, const ServiceState& wanted) const {
    return WaitUntil([&] { return Query(name) == wanted; });
}

void ScratchServices::SetStartType(const std::wstring& name, DWORD startType) const {
    const ServiceHandle service = _Open(name);
    Require(ChangeServiceConfigW(service.Get(), SERVICE_NO_CHANGE, startType, SERVICE_NO_CHANGE, nullptr,
                                 nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
            "ChangeServiceConfig");
}

}  // namespace rig
