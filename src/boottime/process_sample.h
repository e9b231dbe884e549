// What the measurement keeps of a process.
#pragma once

#include <cstdint>

#include "border/boot_time.h"
#include "frame/vx_string.h"

namespace boottime {

/// One observation of one process.
struct ProcessSample {
    uint32_t tick;             // GetTickCount
    ProcessCounters counters;  // from the start of the process up to then
};
static_assert(sizeof(ProcessSample) == 24);

struct ProcessId {
    uint64_t ppid = 0;  // 0 for a process that ran before the measurement
    uint64_t pid = 0;
    vx::String name;  // full path of the image
};

/// Order of all maps by process: the pid alone. A second process of the same pid is the same key as the
/// first.
struct ByPid {
    bool operator()(const ProcessId& left, const ProcessId& right) const noexcept {
        return static_cast<int64_t>(left.pid) < static_cast<int64_t>(right.pid);
    }
};

}  // namespace boottime
