#pragma once

#include "border/host.h"

namespace host {

/// Blocks until an agent of the sessions has connected to this process, six seconds at most; not at all when
/// the session of this process has no agent. For an engine that runs for moments: what it tells the agents is
/// told once, and they look for a service every two seconds.
void WaitForSessionAgent(IComponentManager* components);

}  // namespace host
