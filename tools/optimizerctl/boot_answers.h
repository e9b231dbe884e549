// Asks the service for the figures of the boot, and tells its states apart.
#pragma once

#include "tools/optimizerctl/boot_figures.h"
#include "tools/optimizerctl/context.h"

namespace ctl {

/// What to do with a measurement that still goes on.
enum class Unfinished {
    Fail,
    Wait,  // for its end, ten minutes unless the command line says otherwise
};

/// The length of the boot, in milliseconds. Throws Failure: 1 and 2 of the measurement become sentences of
/// their own.
uint32_t AskBootTime(Context& context, Unfinished unfinished);

/// The processes, by ascending id. Throws Failure.
std::vector<BootProcess> AskProcesses(Context& context);

/// The disk's figures. Throws Failure.
boottime::DiskSpeed AskDisk(Context& context, Unfinished unfinished);

/// All of them, without the disk's when there are none. Throws Failure.
BootFigures AskEverything(Context& context, Unfinished unfinished);

}  // namespace ctl
