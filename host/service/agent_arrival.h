#pragma once

#include "border/host.h"

namespace host {

/// An agent of the console's session is on its way: what the engine asks of it waits for it from now on.
void ExpectAgent(IComponentManager* components);

/// The same for an agent that the session of this process has already: it looks for a service every two
/// seconds.
void ExpectSessionAgent(IComponentManager* components);

/// Blocks until such an agent has connected to this process, six seconds at most. For an engine that runs for
/// moments.
void WaitForSessionAgent(IComponentManager* components);

}  // namespace host
