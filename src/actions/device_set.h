#pragma once

#include "frame/handles.h"

#include <setupapi.h>

namespace optimizer {

struct DeviceSetTraits {
    using Type = HDEVINFO;
    static Type Invalid() noexcept { return INVALID_HANDLE_VALUE; }
    static void Close(Type set) { SetupDiDestroyDeviceInfoList(set); }
};

/// Owns a set of devices of the setup API.
using DeviceSet = UniqueHandle<DeviceSetTraits>;

/// A device record, ready for a call that fills it.
inline SP_DEVINFO_DATA EmptyDevice() {
    SP_DEVINFO_DATA device = {};
    device.cbSize = sizeof(device);
    return device;
}
static_assert(sizeof(SP_DEVINFO_DATA) == 32);

}  // namespace optimizer
