#pragma once

#include <cstdint>

#include "border/host.h"

namespace host {

/// Starts the agent in every session in which somebody is logged on, as that user. For a service that starts
/// while people work. A session that has an agent keeps the one it has.
void StartAgents(IComponentManager* components);

/// Starts the agent in one session; a failure is traced and nothing more, since the next logon tries again.
/// The agent server expects the console's from then on, so that what the engine asks of it waits for it.
void StartAgent(IComponentManager* components, uint32_t session);

}  // namespace host
