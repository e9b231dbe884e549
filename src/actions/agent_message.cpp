#include "actions/agent_message.h"

#include "frame/trace.h"

#include <windows.h>

namespace optimizer {

namespace {

uint32_t Run(IOptimizerAgentServer& server, NpcMsgAgent message) {
    TRACE_MARKED_SCOPE("SendAgentMessage", L"Run Action");
    const auto id = static_cast<uint32_t>(message);
    return server.RunAction(&id, nullptr, 0);
}

}  // namespace

uint32_t SendAgentMessage(IComponentManager& components, NpcMsgAgent message) {
    TRACE_SCOPE("SendAgentMessage");
    void* server = nullptr;
    const uint32_t error =
        components.GetPlugin(kAgentServerPlugin, &IOptimizerAgentServer::kIdentifier, &server);
    if (error != 0) {
        TRACE_LINE(trace::kError, L"GetPlugin %s failed 0x%x", kAgentServerPlugin, error);
        return error;
    }
    if (server == nullptr) return ERROR_GEN_FAILURE;
    const uint32_t result = Run(*static_cast<IOptimizerAgentServer*>(server), message);
    components.ReleasePlugin(kAgentServerPlugin);
    return result;
}

}  // namespace optimizer
