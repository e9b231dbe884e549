#pragma once

#include <cstdint>

#include "border/connector.h"
#include "frame/exported_object.h"
#include "frame/log_binding.h"
#include "frame/slim_lock.h"

namespace optimizer {

class CByteStream;

/// A client component's way to the service: connector.dll and one pipe, under the counts of its life cycle.
///
/// Init and UnInit, Start and Stop are counted and may come from any thread. Nothing reconnects. The last
/// UnInit lets go of everything, since components are freed without a destructor.
class CClientConnection final {
public:
    /// What became of a request: the connector's code and, when that is 0, the status of the answer.
    struct Outcome {
        uint32_t code;
        uint32_t status;
    };

    explicit CClientConnection(const wchar_t* pipe) : m_pipe(pipe) {}
    ~CClientConnection();
    CClientConnection(const CClientConnection&) = delete;
    CClientConnection& operator=(const CClientConnection&) = delete;

    /// Loads the connector: 0, or its error.
    uint32_t Init();
    /// True when it was the last: then nothing is held any more.
    bool UnInit();
    /// Connects, waiting up to five seconds for the service, and has messages received from then on; 8 when
    /// there is none. The count stays raised then, so that the next Start gives 0 without a connection.
    uint32_t Start(ConnectorCallback* receive, void* context);
    /// Blocks until the requests in flight are over.
    void Stop();

    /// Sends and waits, five seconds at most. `answer`, empty before, gets the data of an answer with the
    /// status 0. Without a connection the code is 31.
    Outcome Ask(uint32_t id, const void* data, uint32_t sizeBytes, CByteStream& answer);
    /// Sends without waiting: the connector's code, or 31 without a connection.
    uint32_t Post(uint32_t id, const void* data, uint32_t sizeBytes);
    /// From inside the receive function; does nothing for a sender that doesn't wait.
    void ReplyStatus(const ConnectorMessage* message, uint32_t status);

private:
    uint32_t _Init();
    bool _UnInit();
    void _Disconnect();

    const wchar_t* const m_pipe;
    CSlimLock m_lock;
    int32_t m_startCount = 0;                      // guarded by m_lock
    int32_t m_initCount = 0;                       // guarded by m_lock
    ExportedObject<IConnectorClient> m_connector;  // guarded by m_lock
    IConnectorClient* m_connections = nullptr;     // guarded by m_lock
    CSlimLock m_endpointLock;                 // innermost; shared for as long as a request uses the endpoint
    ConnectorEndpoint* m_endpoint = nullptr;  // guarded by m_endpointLock
    trace::LogHolder m_log;
};

}  // namespace optimizer
