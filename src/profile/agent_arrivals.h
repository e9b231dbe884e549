#pragma once

#include "border/host.h"
#include "border/optimizer_agent.h"
#include "frame/handles.h"

namespace optimizer {

class IAgentArrivalObserver {
public:
    /// On a thread of the system's pool, with no lock held; it may block.
    virtual void OnAgentArrived() = 0;

protected:
    ~IAgentArrivalObserver() = default;
};

/// Tells when an agent says that it has started, from the construction to the destruction, which waits for a
/// call that is under way. Where the host has no agent server it stays silent.
class AgentArrivals final : public IOptimizerAgentEvents {
public:
    AgentArrivals(IComponentManager* components, IAgentArrivalObserver* observer);
    ~AgentArrivals();
    AgentArrivals(const AgentArrivals&) = delete;
    AgentArrivals& operator=(const AgentArrivals&) = delete;

    void Reserved0() override {}
    void Reserved1() override {}
    void OnAgentData(const void* payload, int32_t sizeBytes) override;

private:
    static void CALLBACK _Tell(void* context, BOOLEAN timedOut);

    IComponentManager* const m_components;
    IAgentArrivalObserver* const m_observer;
    KernelHandle m_came;
    HANDLE m_wait = nullptr;
    IOptimizerAgentServer* const m_agentServer;
};

}  // namespace optimizer
