#pragma once

#include <chrono>
#include <optional>

#include "host/run_problems/run_problems.h"
#include "tools/optimizerctl/context.h"
#include "tools/optimizerctl/event_inbox.h"

namespace ctl {

using Clock = std::chrono::steady_clock;

uint64_t MillisecondsSince(Clock::time_point start);

/// What the engine says of its last run; nothing when it is one of before. Throws Failure.
std::optional<host::LastRun> AskLastRun(IOptimizer& engine);

/// Returns when no run goes on any more, with what became of the last one; at once with nothing for an engine
/// of before. `inbox` listens already. Throws Failure when the time is up, 60 seconds from `start` unless the
/// command line says otherwise.
std::optional<host::LastRun> WaitForRun(Context& context, IOptimizer& engine, EventInbox& inbox,
                                        Clock::time_point start);

/// Returns when the actions of the profile were executed, which `inbox` has been listening for since `start`
/// at the latest, with what became of them. Throws Failure when the time is up, as WaitForRun does, and when
/// somebody else chooses another profile. `active` is the one that the engine then names: another than
/// `executed` where a module that goes off has "Disabled" executed.
std::optional<host::LastRun> WaitForActions(Context& context, IOptimizer& engine, EventInbox& inbox,
                                            optimizer::profiles::profile executed,
                                            optimizer::profiles::profile active, Clock::time_point start);

/// For an engine of this process's own that ends with the verb: lets the run that goes on come to its end.
/// False when the time is up first, which is told: the end of the program then cuts the run short.
bool LetRunEnd(Context& context, Clock::time_point start);

}  // namespace ctl
