#include "host/service/agent_arrival.h"

#include <windows.h>

#include "border/optimizer_agent.h"
#include "frame/handles.h"
#include "frame/plugin_request.h"
#include "frame/trace.h"
#include "host/plugin_host/agent_instance.h"

namespace host {

namespace {

constexpr DWORD kPatienceMs = 6000;
constexpr const wchar_t* kAgentServer = L"optimizeragentserver";
constexpr auto kMessage = static_cast<int32_t>(optimizer::NpcMsgAgent::Started);

/// Hears an agent say that it has started.
class Arrival final : public IOptimizerAgentEvents {
public:
    void Reserved0() override {}
    void Reserved1() override {}
    void OnAgentData(const void*, int32_t) override { SetEvent(m_arrived.Get()); }

    bool Wait() const { return WaitForSingleObject(m_arrived.Get(), kPatienceMs) == WAIT_OBJECT_0; }

private:
    optimizer::KernelHandle m_arrived{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
};

}  // namespace

void WaitForSessionAgent(IComponentManager* components) {
    TRACE_SCOPE("WaitForSessionAgent");
    if (!HasSessionAgent()) return;
    auto* const server = optimizer::RequestPlugin<IOptimizerAgentServer>(components, kAgentServer);
    if (server == nullptr) return;
    Arrival arrival;
    if (server->RegisterObserver(&kMessage, &arrival) == ERROR_SUCCESS) {
        // One that was quicker than the registration costs the whole wait and nothing else.
        if (!arrival.Wait()) TRACE_LINE(optimizer::trace::kWarning, L"The session's agent wasn't heard of");
        server->UnregisterObserver(&kMessage, &arrival);
    }
    components->ReleasePlugin(kAgentServer);
}

}  // namespace host
