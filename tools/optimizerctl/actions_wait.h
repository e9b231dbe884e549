#pragma once

#include <chrono>

#include "tools/optimizerctl/context.h"
#include "tools/optimizerctl/event_inbox.h"

namespace ctl {

using Clock = std::chrono::steady_clock;

uint64_t MillisecondsSince(Clock::time_point start);

/// Returns when the actions of the profile were executed, which `inbox` has been listening for since `start`
/// at the latest. Throws Failure when the time is up, 60 seconds unless the command line says otherwise, and
/// when somebody else chooses another profile.
void WaitForActions(Context& context, IOptimizer& engine, EventInbox& inbox,
                    optimizer::profiles::profile wanted, Clock::time_point start);

}  // namespace ctl
