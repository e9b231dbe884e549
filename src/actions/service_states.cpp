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

// Writing a start type adds this to the value.
constexpr uint32_t kStartupToType = SERVICE_AUTO_START;

}  // namespace

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
    const auto isPlace = [](ServiceStatus status) {
        return status >= ServiceStatus::Running && status < ServiceStatus::None;
    };
    if (!isPlace(from) || !isPlace(to)) return {};
    return kSteps[static_cast<size_t>(from)][static_cast<size_t>(to)];
}

}  // namespace optimizer
