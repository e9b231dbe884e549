#include "profile/agent_arrivals.h"

#include <windows.h>

#include "actions/agent_message.h"
#include "frame/guarded.h"
#include "frame/plugin_request.h"
#include "frame/trace.h"

namespace optimizer {

namespace {

constexpr auto kStarted = static_cast<int32_t>(NpcMsgAgent::Started);

}  // namespace

AgentArrivals::AgentArrivals(IComponentManager* components, IAgentArrivalObserver* observer)
    : m_components(components),
      m_observer(observer),
      m_came(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      m_agentServer(RequestPlugin<IOptimizerAgentServer>(components, kAgentServerPlugin)) {
    TRACE_SCOPE("AgentArrivals::AgentArrivals");
    if (m_agentServer == nullptr) return;
    if (!RegisterWaitForSingleObject(&m_wait, m_came.Get(), &_Tell, this, INFINITE, WT_EXECUTELONGFUNCTION)) {
        const DWORD error = GetLastError();
        TRACE_LINE(trace::kError, L"Arrivals of agents aren't heard: 0x%x", error);
        m_wait = nullptr;
    }
    m_agentServer->RegisterObserver(&kStarted, this);
}

AgentArrivals::~AgentArrivals() {
    TRACE_SCOPE("AgentArrivals::~AgentArrivals");
    if (m_agentServer == nullptr) return;
    m_agentServer->UnregisterObserver(&kStarted, this);
    if (m_wait != nullptr) UnregisterWaitEx(m_wait, INVALID_HANDLE_VALUE);
    m_components->ReleasePlugin(kAgentServerPlugin);
}

/// On a thread of the connector's, which a change that waits for an agent's answer waits for: nothing may be
/// done about it here.
void AgentArrivals::OnAgentData(const void*, int32_t) {
    SetEvent(m_came.Get());
}

void CALLBACK AgentArrivals::_Tell(void* context, BOOLEAN) {
    static_cast<void>(Guarded([&] {
        static_cast<AgentArrivals*>(context)->m_observer->OnAgentArrived();
        return uint32_t{ERROR_SUCCESS};
    }));
}

}  // namespace optimizer
