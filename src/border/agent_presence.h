// Whether there is an agent to carry out what the service asks of the user's session.
#pragma once

#include "border/plugin.h"

/// Answered for by the plug-in "optimizeragentserver", beside IOptimizerAgentServer. Any thread between Init
/// and UnInit.
struct IAgentPresence : IVxBaseInterface {
    static constexpr Identifier kIdentifier = {
        0x2d7f41b8, 0x90c3, 0x4e5a, {0xb1, 0x66, 0x3e, 0xa9, 0xd4, 0x08, 0x7c, 0xf5}};

    /// An agent has been started in the console's session and is on its way. Nothing when one is there. Holds
    /// until one has come, or somebody has waited in vain.
    virtual void Expect() = 0;  // 1
    /// Blocks until an agent of the console's session is connected, `timeoutMs` at most. 0 when there is one,
    /// at once 1168 (ERROR_NOT_FOUND) when there is none and none is expected, 1460 (ERROR_TIMEOUT), or 1223
    /// (ERROR_CANCELLED) when the event `stop`, which may be null, was signalled. Not from inside an observer
    /// of the agents.
    virtual uint32_t WaitForAgent(uint32_t timeoutMs, void* stop) = 0;  // 2
};
