#pragma once

#include "border/boot_time.h"
#include "border/connector.h"
#include "comm/boot_time_messages.h"
#include "comm/client_connection.h"
#include "comm/client_observers.h"
#include "frame/deleting_destructor.h"
#include "frame/trace.h"

namespace boottime {

/// Component "boottimecommclient": the operations of plug-in "boottime" in a client process, each once with
/// and once without waiting, and its event.
///
/// Init and UnInit, Start and Stop are counted and may come from any thread. A request blocks its thread for
/// five seconds at most, and gives 2 when the connection fails. The event and answers come on a thread of the
/// connector; an observer must not call a waiting request there. A client whose service went away makes a new
/// object. Freed without a destructor, so that the last UnInit lets go of everything but the observers that
/// nobody took back.
class CBootTimeCommClient final
    : public optimizer::WithDeletingDestructor<CBootTimeCommClient, IBootTimeCommClient>,
      public IBootTimeCommClientAsync,
      public IBootTimeEvents,
      public IBootTimeResponse {
public:
    void* QueryInterface(const Identifier* iid) override;
    /// Loads the connector; `main` isn't used. 0, or the error of the connector.
    uint32_t Init(IServMain* main) override;
    void UnInit() override;
    /// Connects, waiting up to five seconds for the service; 8 when there is none. The count stays raised
    /// then, so that the next Start gives 0 without a connection: a failed client is to be thrown away.
    uint32_t Start() override;
    /// Blocks until the requests in flight are over.
    uint32_t Stop() override;

    uint32_t GetBootTime(uint32_t* timeMs) override;
    uint32_t GetTotalBootImpact(ProcessCounters* total) override;
    uint32_t GetBootImpact(vx::IList<ProcessImpact>* list, ProcessImpact* filter) override;
    uint32_t GetDiskSpeed(DiskSpeed* speed) override;
    uint32_t AddEventsObserver(IBootTimeEvents* observer) override;
    uint32_t RemoveEventsObserver(IBootTimeEvents* observer) override;

    uint32_t GetBootTimeAsync() override;
    uint32_t GetTotalBootImpactAsync() override;
    uint32_t GetBootImpactAsync(ProcessImpact* filter) override;
    uint32_t GetDiskSpeedAsync() override;
    uint32_t AddResponseObserver(IBootTimeResponse* observer) override;
    uint32_t RemoveResponseObserver(IBootTimeResponse* observer) override;

    // What was received: traced and passed on to every observer.
    void OnDataAnalysed(uint32_t status) override;
    void OnGetBootTime(const uint32_t* error, uint32_t timeMs) override;
    void OnGetTotalBootImpact(const uint32_t* error, const ProcessCounters* total) override;
    void OnGetBootImpact(const uint32_t* error, vx::IList<ProcessImpact>* list) override;
    void OnGetDiskSpeed(const uint32_t* error, const DiskSpeed* speed) override;

    /// Takes one message from the pipe.
    uint32_t NpcCallback(const ConnectorMessage* message);

private:
    struct Request;
    struct Reception;

    /// Sends and waits; `read` takes the result out of the answer.
    template <class Read>
    uint32_t _Ask(const optimizer::trace::LogScope& traceScope, const Request& request, const void* data,
                  uint32_t sizeBytes, Read read);
    uint32_t _Post(const optimizer::trace::LogScope& traceScope, const Request& request, const void* data,
                   uint32_t sizeBytes);

    static uint32_t _Receive(void* context, const ConnectorMessage* message) noexcept;
    /// Hands an answer, or the zeros that come with an error, to the operation above.
    void _Deliver(NpcMsg answered, uint32_t error, optimizer::CByteStream& payload);

    optimizer::ClientObservers<IBootTimeEvents, IBootTimeResponse> m_observers;  // outlives what calls them
    optimizer::CClientConnection m_connection{kBootTimePipe};
};

}  // namespace boottime
