// The messages of the boot-time pipe. docs/wire-format.md tells their payloads.
#pragma once

#include <cstdint>

namespace boottime {

/// Numbers on the wire. Data answers a request under the request's own number, whether the sender waits or
/// not; a sender that doesn't wait hears an error under a number of the error's own.
enum class NpcMsg : uint32_t {
    GetBootTime = 1,
    GetTotalBootImpact = 2,
    GetBootImpact = 3,
    GetDiskSpeed = 4,
    GetBootTimeError = 10,
    GetTotalBootImpactError = 11,
    GetBootImpactError = 12,
    GetDiskSpeedError = 13,
    OnDataAnalysed = 20,
};

}  // namespace boottime
