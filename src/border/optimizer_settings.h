// The settings component, as the module's other components fetch it from the host.
#pragma once

#include "border/plugin.h"

namespace optimizer {
class IProfilesSettings;
class ITasksSettings;
}  // namespace optimizer

/// Component "optimizersettings". The stores belong to the component and live from Init to UnInit; they never
/// leave this module, so they are ordinary C++.
struct IOptimizerSettings : IServPlugin {
    static constexpr Identifier kIdentifier = {
        0xb8248d0f, 0x9121, 0xa076, {0xe7, 0x48, 0x13, 0x1a, 0x58, 0x33, 0x99, 0x16}};

    virtual optimizer::IProfilesSettings* GetProfilesSettings() = 0;  // 5
    virtual optimizer::ITasksSettings* GetTasksSettings() = 0;        // 6
    virtual void* DeletingDestructor(uint32_t flags) = 0;             // 7
};
