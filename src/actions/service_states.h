// Run status and start type of a service, as the services action speaks of them, and the plain decisions
// about them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "actions/iwindows_service.h"

namespace optimizer {

/// As saved in restore files: the values stay.
enum class ServiceStatus : int32_t {
    Running = 0,
    Stopped = 1,
    Paused = 2,
    None = 3,  // unknown, or no change wanted
};

enum class ServiceStartup : int32_t {
    Automatic = 0,
    Manual = 1,
    Disabled = 2,
    None = 3,  // unknown, or no change wanted
};

/// What one look at a field of a service showed.
template <class Value>
struct Seen {
    Value value = Value::None;  // None: it couldn't be read, or isn't usable
    bool isSettled = true;      // false while the service is still on its way to the value
};

/// Looks at the field. 0, also with a value that isn't usable, or the error of the service manager.
uint32_t LookAt(IWindowsService& service, const std::wstring& name, Seen<ServiceStatus>& seen);
uint32_t LookAt(IWindowsService& service, const std::wstring& name, Seen<ServiceStartup>& seen);

/// The status that a service is in or moves to, by the platform's dwCurrentState.
std::optional<ServiceStatus> StatusOfState(uint32_t state);

/// By the platform's dwStartType.
std::optional<ServiceStartup> StartupOfType(uint32_t startType);

/// The way back from StartupOfType; nothing for None.
std::optional<uint32_t> TypeOfStartup(ServiceStartup startup);

/// One operation on a service by name, with its limit in milliseconds.
using ServiceStep = uint32_t (IWindowsService::*)(const wchar_t* name, uint32_t timeoutMs);

/// The steps from one status into a profile's, in order. Unused places are null.
using ServiceSteps = std::array<ServiceStep, 2>;
ServiceSteps StepsBetween(ServiceStatus from, ServiceStatus to);

/// A step that a settled service can take, and the status that it leads to.
struct ServiceMove {
    ServiceStep step = nullptr;
    ServiceStatus to = ServiceStatus::None;
};

/// The first move of the way back from one status to another one. Not the table of StepsBetween, which never
/// gets a paused service to stop: on the way back the machine comes first.
ServiceMove FirstMoveBack(ServiceStatus from, ServiceStatus to);

}  // namespace optimizer
