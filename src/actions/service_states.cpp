#include "actions/service_states.h"

#include <windows.h>

namespace optimizer {

namespace {

constexpr ServiceStep kStart = &IWindowsService::StartServiceW;
constexpr ServiceStep kStop = &IWindowsService::StopService;
constexpr ServiceStep kPause = &IWindowsService::PauseService;
constexpr ServiceStep kResume = &IWindowsService::ResumeService;

constexpr ServiceSteps kSteps[3][3] = {
    /* from running */ {{}, {kStop}, {kPause}},
    /* from stopped */ {{kStart}, {}, {kStart, kPause}},
    // From paused to stopped has the steps of the opposite direction: it is kept so.
    /* from paused */ {{kResume}, {kStart, kPause}, {}},
};

constexpr ServiceMove kMovesBack[3][3] = {
    /* from running */ {{}, {kStop, ServiceStatus::Stopped}, {kPause, ServiceStatus::Paused}},
    // What isn't running can't be paused.
    /* from stopped */ {{kStart, ServiceStatus::Running}, {}, {kStart, ServiceStatus::Running}},
    /* from paused */ {{kResume, ServiceStatus::Running}, {kStop, ServiceStatus::Stopped}, {}},
};

bool IsPending(uint32_t state) {
    return state == SERVICE_START_PENDING || state == SERVICE_STOP_PENDING ||
           state == SERVICE_CONTINUE_PENDING || state == SERVICE_PAUSE_PENDING;
}

bool IsPlace(ServiceStatus status) {
    return status >= ServiceStatus::Running && status < ServiceStatus::None;
}

// Writing a start type adds this to the value.
constexpr uint32_t kStartupToType = SERVICE_AUTO_START;

}  // namespace

uint32_t LookAt(IWindowsService& service, const std::wstring& name, Seen<ServiceStatus>& seen) {
    uint32_t state = 0;
    const uint32_t error = service.GetServiceStatus(name.c_str(), &state);
    if (error != 0) return error;
    seen = {.value = StatusOfState(state).value_or(ServiceStatus::None), .isSettled = !IsPending(state)};
    return 0;
}

uint32_t LookAt(IWindowsService& service, const std::wstring& name, Seen<ServiceStartup>& seen) {
    uint32_t type = 0;
    const uint32_t error = service.GetStartup(name.c_str(), &type);
    if (error != 0) return error;
    seen = {.value = StartupOfType(type).value_or(ServiceStartup::None)};
    return 0;
}

std::optional<ServiceStatus> StatusOfState(uint32_t state) {
    switch (state) {
        case SERVICE_STOPPED:
        case SERVICE_STOP_PENDING:
            return ServiceStatus::Stopped;
        case SERVICE_RUNNING:
        case SERVICE_START_PENDING:
        case SERVICE_CONTINUE_PENDING:
            return ServiceStatus::Running;
        case SERVICE_PAUSED:
        case SERVICE_PAUSE_PENDING:
            return ServiceStatus::Paused;
        default:
            return std::nullopt;
    }
}

std::optional<ServiceStartup> StartupOfType(uint32_t startType) {
    if (startType < SERVICE_AUTO_START || startType > SERVICE_DISABLED) return std::nullopt;
    return static_cast<ServiceStartup>(startType - kStartupToType);
}

std::optional<uint32_t> TypeOfStartup(ServiceStartup startup) {
    if (startup < ServiceStartup::Automatic || startup >= ServiceStartup::None) return std::nullopt;
    return static_cast<uint32_t>(startup) + kStartupToType;
}

ServiceSteps StepsBetween(ServiceStatus from, ServiceStatus to) {
    if (!IsPlace(from) || !IsPlace(to)) return {};
    return kSteps[static_cast<size_t>(from)][static_cast<size_t>(to)];
}

ServiceMove FirstMoveBack(ServiceStatus from, ServiceStatus to) {
    if (!IsPlace(from) || !IsPlace(to)) return {};
    return kMovesBack[static_cast<size_t>(from)][static_cast<size_t>(to)];
}

}  // namespace optimizer
