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
    /// Has `last` called when it was the last: nothing is held any more then, and no Init comes in between.
    template <class Last>
    void UnInit(Last last) {
        const LockGuard guard(m_lock);
        if (_UnInit()) last();
    }
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
    /// From inside the receive function; does nothing for a sender that doesn't wait, nor without a
    /// connection.
    void ReplyStatus(const ConnectorMessage* message, uint32_t status);

private:
    uint32_t _Init() REQUIRES(m_lock);
    bool _UnInit() REQUIRES(m_lock);
    void _Disconnect() REQUIRES(m_lock);

    const wchar_t* const m_pipe;
    CSlimLock m_lock;
    int32_t m_startCount GUARDED_BY(m_lock) = 0;
    int32_t m_initCount GUARDED_BY(m_lock) = 0;
    ExportedObject<IConnectorClient> m_connector GUARDED_BY(m_lock);
    IConnectorClient* m_connections GUARDED_BY(m_lock) = nullptr;
    CSlimLock m_endpointLock ACQUIRED_AFTER(m_lock);  // shared for as long as a request uses the endpoint
    ConnectorEndpoint* m_endpoint GUARDED_BY(m_endpointLock) = nullptr;
    trace::LogHolder m_log;
};

}  // namespace optimizer
