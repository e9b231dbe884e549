#pragma once

#include "border/connector.h"
#include "border/host.h"
#include "border/optimizer.h"
#include "comm/optimizer_messages.h"
#include "comm/pipe_server.h"
#include "frame/deleting_destructor.h"

namespace optimizer {

/// Component "optimizeralcomm": the engine's operations on the pipe "optimizerpipe", and its events to every
/// client. The host calls Init, Start, Stop and UnInit in this order, once each, and frees it without a
/// destructor.
///
/// Requests come on the connector's threads and reach the engine side by side, as they arrive; events come on
/// the engine's threads. No lock of its own. Stop blocks until no request is being answered.
class COptimizerALComm final : public WithDeletingDestructor<COptimizerALComm, IPlainPlugin>,
                               public IOptimizerEvents {
public:
    void* QueryInterface(const Identifier* iid) override;
    /// 0, 31 for a missing host object, or the error of the request for a plug-in.
    uint32_t Init(IServMain* main) override;
    void UnInit() override;
    /// 0, or 31 when the pipe can't be served.
    uint32_t Start() override;
    uint32_t Stop() override;

    void OnTaskFinished(const wchar_t* user, const uint32_t* task, uint32_t status) override;
    void OnProfileChanged(const wchar_t* user, const profile* changed) override;
    void OnActionsExecuted(const wchar_t* user, const profile* executed) override;
    void OnProfileConfigChanged(const wchar_t* user, const profile* changed) override;
    void OnOptimizerModuleEnableChanged(const wchar_t* user, bool enabled) override;
    void OnOptimizerProcessOptimized(const wchar_t* process, uint32_t count) override;

    /// Takes one message from the pipe.
    uint32_t NpcCallback(const ConnectorMessage* message);

private:
    using profile = profiles::profile;

    /// How a request is answered; one row of the table for each.
    struct Request {
        NpcMsg id;
        bool isOneNumber;  // the payload must be exactly four bytes
        void (COptimizerALComm::*answer)(const ConnectorMessage* message);
    };
    static const Request kRequests[];

    static uint32_t _Receive(void* context, const ConnectorMessage* message) noexcept;

    void _SetProfile(const ConnectorMessage* message);
    void _GetProfile(const ConnectorMessage* message);
    void _SetProfileConfig(const ConnectorMessage* message);
    void _GetProfileConfig(const ConnectorMessage* message);
    void _ModuleEnable(const ConnectorMessage* message);
    void _ModuleGetEnable(const ConnectorMessage* message);
    void _StartTask(const ConnectorMessage* message);
    void _CancelTask(const ConnectorMessage* message);
    void _GetLastRun(const ConnectorMessage* message);
    void _GetNotes(const ConnectorMessage* message);
    void _AnswerText(const ConnectorMessage* message, uint32_t error, const vx::String& text);

    /// Sends one event: the text, then the numbers.
    template <class... Numbers>
    void _Broadcast(NpcMsg id, const wchar_t* text, Numbers... numbers);

    IOptimizer* m_engine = nullptr;
    CPipeServer m_server;
};

}  // namespace optimizer
