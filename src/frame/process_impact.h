// The record in which the cost of a process at boot crosses the border.
#pragma once

#include "border/boot_time.h"
#include "frame/vx_string.h"

namespace boottime {

struct ProcessImpact {
    uint64_t ppid;  // 0 for a process that ran before the measurement
    uint64_t pid;
    vx::String name;  // full path of the image
    ProcessCounters counters;
};

}  // namespace boottime
