#pragma once

#include <cstdint>

namespace host {

/// Starts the agent in every session in which somebody is logged on, as that user. For a service that starts
/// while people work. A session that has an agent keeps the one it has.
void StartAgents();

/// Starts the agent in one session; a failure is traced and nothing more, since the next logon tries again.
void StartAgent(uint32_t session);

}  // namespace host
