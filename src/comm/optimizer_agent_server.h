#pragma once

#include <atomic>
#include <map>
#include <memory>

#include "border/agent_presence.h"
#include "border/client_watch.h"
#include "border/connector.h"
#include "border/host.h"
#include "border/optimizer_agent.h"
#include "frame/callback_list.h"
#include "frame/deleting_destructor.h"
#include "frame/slim_lock.h"

namespace optimizer {

/// Component "optimizeragentserver": the service's end of the agents' pipe. Actions reach the agents through
/// it, and the agents' answers reach the observers of their message id. What an agent reports of a session
/// counts only when that is the console's, and only that session's agents hear the commands of the visual
/// effects. A connector that doesn't tell its clients' sessions has every report count, every agent hear
/// every command, and an agent be taken for there unless one is on its way.
///
/// The host frees it without a destructor, so that UnInit lets go of everything. Start and Stop are counted;
/// the other operations may come from any thread between Init and UnInit. Observers are called on the
/// connector's threads with the map lock held, one message at a time: they must not register from inside.
class COptimizerAgentServer final
    : public WithDeletingDestructor<COptimizerAgentServer, IOptimizerAgentServer>,
      public IAgentPresence {
public:
    ~COptimizerAgentServer() { UnInit(); }

    void* QueryInterface(const Identifier* iid) override;
    /// 0, 6 for a missing host object, 31, or the error of the request for "connserver".
    uint32_t Init(IServMain* main) override;
    void UnInit() override;
    uint32_t Start() override;
    uint32_t Stop() override;

    /// The broadcast's code; 31 without a pipe.
    uint32_t RunAction(const uint32_t* id, const void* data, uint32_t sizeBytes) override;
    /// 0, 31 when no list could be made, 87 for null, or 183.
    uint32_t RegisterObserver(const int32_t* id, IOptimizerAgentEvents* observer) override;
    uint32_t UnregisterObserver(const int32_t* id, IOptimizerAgentEvents* observer) override;

    void Expect() override;
    /// Also 14 or 31 when the wait can't be set up.
    uint32_t WaitForAgent(uint32_t timeoutMs, void* stop) override;

private:
    class Arrival;
    using Observers = CallbackList<IOptimizerAgentEvents*>;

    uint32_t _Init(IServMain* main);
    static uint32_t _Receive(void* context, const ConnectorMessage* message) noexcept;
    void _Deliver(const ConnectorMessage& message);
    uint32_t _Register(int32_t id, IOptimizerAgentEvents* observer);
    bool _IsOfConsole(const ConnectorMessage& message);
    bool _IsAgentConnected();
    uint32_t _Await(const Arrival& arrival, uint32_t timeoutMs, void* stop);

    std::map<int32_t, std::unique_ptr<Observers>> m_observers GUARDED_BY(m_mapLock);
    CSlimLock m_startLock;  // not taken by a callback, which Stop waits for
    int32_t m_startCount GUARDED_BY(m_startLock) = 0;
    CSlimLock m_mapLock;
    IConnectorServer* m_connector = nullptr;
    ConnectorEndpoint* m_endpoint = nullptr;
    IClientWatch* m_watch = nullptr;  // null with another connector than this host's
    std::atomic<bool> m_isExpected = false;
    IComponentManager* m_components = nullptr;
};

}  // namespace optimizer
