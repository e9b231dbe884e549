#include "host/service/agent_arrival.h"

#include <windows.h>

#include "border/agent_presence.h"
#include "frame/plugin_request.h"
#include "frame/trace.h"
#include "host/plugin_host/agent_instance.h"

namespace host {

namespace {

constexpr uint32_t kPatienceMs = 6000;
constexpr const wchar_t* kAgentServer = L"optimizeragentserver";

}  // namespace

void ExpectAgent(IComponentManager* components) {
    auto* const presence = optimizer::RequestPlugin<IAgentPresence>(components, kAgentServer);
    if (presence == nullptr) return;
    presence->Expect();
    components->ReleasePlugin(kAgentServer);
}

void ExpectSessionAgent(IComponentManager* components) {
    if (HasSessionAgent()) ExpectAgent(components);
}

void WaitForSessionAgent(IComponentManager* components) {
    TRACE_SCOPE("WaitForSessionAgent");
    ExpectSessionAgent(components);
    auto* const presence = optimizer::RequestPlugin<IAgentPresence>(components, kAgentServer);
    if (presence == nullptr) return;
    const uint32_t error = presence->WaitForAgent(kPatienceMs, nullptr);
    if (error != ERROR_SUCCESS) {
        TRACE_LINE(optimizer::trace::kWarning, L"No agent of this session: 0x%x", error);
    }
    components->ReleasePlugin(kAgentServer);
}

}  // namespace host
