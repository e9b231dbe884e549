#pragma once

#include "bootlauncher/boot_launcher_exec.h"
#include "border/connector.h"
#include "border/host.h"
#include "frame/deleting_destructor.h"
#include "frame/log_binding.h"

namespace optimizer {

/// Component "optimizeragent": the end of the agents' pipe in a user's session. It carries out what the
/// service may not do from outside of the session, and starts the boot launcher.
///
/// The host frees it without a destructor, so that UnInit lets go of everything. Init blocks for five seconds
/// at most while nobody serves the pipe. Messages are worked on one at a time on a connector thread, for as
/// long as the session's windows take to answer.
class COptimizerAgent final : public WithDeletingDestructor<COptimizerAgent, IPlainPlugin> {
public:
    ~COptimizerAgent() { UnInit(); }

    void* QueryInterface(const Identifier* iid) override;
    /// 0, 6 for a missing host object, 31 for a pipe that can't be had, or the error of the request for
    /// "connclient".
    uint32_t Init(IServMain* main) override;
    void UnInit() override;
    uint32_t Start() override;
    uint32_t Stop() override;

    /// The receive function's work; 31 for a null message, which does nothing else.
    uint32_t NpcCallback(const ConnectorMessage* message);

private:
    uint32_t _Init(IServMain* main);
    static uint32_t _Receive(void* context, const ConnectorMessage* message) noexcept;
    uint32_t _Carry(const ConnectorMessage& message);
    void _RunVisualEffects(const ConnectorMessage& message);

    IServMain* m_main = nullptr;
    IComponentManager* m_components = nullptr;
    IConnectorClient* m_connector = nullptr;
    ConnectorEndpoint* m_endpoint = nullptr;
    CBootLauncherExec m_bootLauncher;
    trace::LogHolder m_log;  // from Init to UnInit: nothing else here keeps the log bound
};

}  // namespace optimizer
