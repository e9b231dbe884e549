#pragma once

#include <cstdint>

#include "border/host.h"
#include "border/optimizer_agent.h"

namespace optimizer {

/// Name of the plug-in through which the actions reach the agents.
inline constexpr const wchar_t* kAgentServerPlugin = L"optimizeragentserver";

/// Sends the agents a message without a payload, through a plug-in that is fetched and given back for it. The
/// error of the request, or the message's own.
[[nodiscard]] uint32_t SendAgentMessage(IComponentManager& components, NpcMsgAgent message);

}  // namespace optimizer
