#pragma once

#include <cstdint>

#include "border/connector.h"
#include "border/optimizer_client.h"
#include "border/run_report.h"
#include "comm/client_connection.h"
#include "comm/client_observers.h"
#include "comm/optimizer_messages.h"
#include "frame/deleting_destructor.h"
#include "frame/trace.h"

namespace optimizer {

class CByteStream;

/// Component "optimizercommclient": the engine's operations in a client process, each once with and once
/// without waiting, and the engine's events.
///
/// Init and UnInit, Start and Stop are counted and may come from any thread. A request blocks its thread for
/// five seconds at most. Events and answers come on a thread of the connector; an observer must not call a
/// waiting request there, since no answer could arrive. Nothing reconnects: a client whose service went away
/// makes a new object. Freed without a destructor, so that the last UnInit lets go of everything but the
/// observers that nobody took back.
class COptimizerCommClient final
    : public WithDeletingDestructor<COptimizerCommClient, IOptimizerALCommClient>,
      public IOptimizerALCommClientAsync,
      public IRunReport,
      public INotesReport {
public:
    using profile = profiles::profile;

    void* QueryInterface(const Identifier* iid) override;
    /// Loads the connector; `main` isn't used. 0, or the error of the connector.
    uint32_t Init(IServMain* main) override;
    void UnInit() override;
    /// Connects, waiting up to five seconds for the service; 8 when there is none. The count stays raised
    /// then, so that the next Start gives 0 without a connection: a failed client is to be thrown away.
    uint32_t Start() override;
    /// Blocks until the requests in flight are over.
    uint32_t Stop() override;

    uint32_t StartTask(const int32_t* task) override;
    void CancelTask(const int32_t* task) override;
    uint32_t SetProfile(const profile* wanted) override;
    uint32_t GetProfile(profile* active) override;
    uint32_t SetProfileConfig(const profile* which, vx::String* config) override;
    uint32_t GetProfileConfig(const profile* which, vx::String* config) override;
    uint32_t SetModuleEnable(bool enable) override;
    uint32_t GetModuleEnable(bool* enable) override;
    uint32_t AddEventsObserver(IOptimizerEvents* observer) override;
    uint32_t RemoveEventsObserver(IOptimizerEvents* observer) override;
    uint32_t GetLastRun(vx::String* report) override;
    uint32_t GetNotes(vx::String* report) override;

    uint32_t StartTaskAsync(const int32_t* task) override;
    uint32_t CancelTaskAsync(const int32_t* task) override;
    uint32_t SetProfileAsync(const profile* wanted) override;
    uint32_t GetProfileAsync() override;
    uint32_t SetProfileConfigAsync(const profile* which, const vx::String* config) override;
    uint32_t GetProfileConfigAsync(const profile* which) override;
    uint32_t SetModuleEnableAsync(bool enable) override;
    uint32_t GetModuleEnableAsync() override;
    uint32_t AddResponseObserver(IOptimizerResponse* observer) override;
    uint32_t RemoveResponseObserver(IOptimizerResponse* observer) override;

    /// Takes one message from the pipe.
    uint32_t NpcCallback(const ConnectorMessage* message);

private:
    struct Request;

    /// Sends and waits; `read` takes the result out of an answer with the status 0.
    template <class Read>
    uint32_t _Ask(const trace::LogScope& traceScope, const Request& request, const void* data,
                  uint32_t sizeBytes, Read read);
    uint32_t _Post(const trace::LogScope& traceScope, const Request& request, const void* data,
                   uint32_t sizeBytes);

    static uint32_t _Receive(void* context, const ConnectorMessage* message) noexcept;
    bool _DeliverEvent(uint32_t id, CByteStream& payload);
    // Each traces what it was told and passes it on to the observers.
    void _OnGetProfile(profile active);
    void _OnGetProfileConfig(profile which, const wchar_t* config);
    void _OnGetModuleEnable(bool enabled);
    void _OnTaskFinished(const wchar_t* user, uint32_t task, uint32_t status);
    void _OnProfileChanged(const wchar_t* user, profile which);
    void _OnActionsExecuted(const wchar_t* user, profile which);
    void _OnProfileConfigChanged(const wchar_t* user, profile which);
    void _OnOptimizerModuleEnableChanged(const wchar_t* user, bool enabled);
    void _OnOptimizerProcessOptimized(const wchar_t* process, uint32_t count);

    ClientObservers<IOptimizerEvents, IOptimizerResponse> m_observers;  // outlives what calls them
    CClientConnection m_connection{kOptimizerPipe};
};

}  // namespace optimizer
