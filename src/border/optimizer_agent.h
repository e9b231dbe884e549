// The agents in the users' sessions, and the service's end of their pipe.
#pragma once

#include "border/plugin.h"

namespace optimizer {

/// Messages of the agents' pipe. The service broadcasts, an agent posts.
enum class NpcMsgAgent : uint32_t {
    PolicyChanged = 1,   // to the agents: tell the session's windows of a new policy
    VisualEffects = 2,   // to the agents: a command; to the service: the text of its answer
    Started = 3,         // to the service
    Stopping = 4,        // to the service
    BalloonChanged = 5,  // to the agents: tell the session's windows of the balloon setting
};

}  // namespace optimizer

/// Hears what the agents answer, on the connector's threads. It must not register or unregister from inside.
struct IOptimizerAgentEvents {
    virtual void Reserved0() = 0;  // 0
    virtual void Reserved1() = 0;  // 1
    /// The payload is valid during the call only, and may come from anybody who reaches the pipe.
    virtual void OnAgentData(const void* payload, int32_t sizeBytes) = 0;  // 2
};

/// Component "optimizeragentserver". Results are Windows error codes, 0 for success. Any thread may call.
struct IOptimizerAgentServer : IServPlugin {
    static constexpr Identifier kIdentifier = {
        0xabb960f1, 0x62fc, 0x8a7b, {0xdd, 0x4c, 0x32, 0xba, 0xe5, 0x22, 0xfc, 0xf7}};

    /// Sends a message to the agents that are connected, which may be none: that of the visual effects to
    /// those of the console's session where the connector can tell them, the others to all. Waits for no
    /// answer.
    virtual uint32_t RunAction(const uint32_t* id, const void* data, uint32_t sizeBytes) = 0;  // 5
    /// The observer hears the agents' messages of that id. 183 for one that does already.
    virtual uint32_t RegisterObserver(const int32_t* id, IOptimizerAgentEvents* observer) = 0;  // 6
    /// Returns when no call to the observer is in flight. 1168 for one that isn't registered.
    virtual uint32_t UnregisterObserver(const int32_t* id, IOptimizerAgentEvents* observer) = 0;  // 7
    virtual void* DeletingDestructor(uint32_t flags) = 0;                                         // 8
};
