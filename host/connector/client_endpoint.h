#pragma once

#include <deque>
#include <vector>

#include "connector/call_table.h"
#include "connector/endpoint.h"
#include "connector/pipe_connection.h"
#include "connector/write_completions.h"

namespace host {

/// The client end of a pipe. One thread reads: it hands replies to their callers and calls the receive
/// function for everything else. Messages that come before the first setCallback wait for it, up to a bound.
/// The destructor disconnects, releases all callers, and blocks until they and the receive function are out.
class CClientEndpoint final : public CEndpoint, private IConnectionEvents {
public:
    /// `pipe` is a client's end of a message pipe, overlapped.
    explicit CClientEndpoint(optimizer::FileHandle pipe);
    ~CClientEndpoint();

    /// Blocks until the server has admitted the client. 0, 258 (WAIT_TIMEOUT), 233
    /// (ERROR_PIPE_NOT_CONNECTED), or the system's error. Throws std::bad_alloc.
    [[nodiscard]] uint32_t Open(uint32_t timeoutMs);
    /// Whether the connection has ended.
    bool IsOver() const { return m_connection.IsOver(); }

    /// 0; 87 (ERROR_INVALID_PARAMETER) for the payload; 258 (WAIT_TIMEOUT); 233 (ERROR_PIPE_NOT_CONNECTED)
    /// when the connection ends or has ended; 1816 (ERROR_NOT_ENOUGH_QUOTA) when the server is far behind; or
    /// the system's error.
    uint32_t sendMessage(uint32_t id, const void* data, uint32_t sizeBytes, ConnectorResponse** response,
                         uint64_t reserved, uint32_t timeoutMs) override;
    /// As sendMessage, without the time-out.
    uint32_t postMessage(uint32_t id, const void* data, uint32_t sizeBytes, uint32_t target) override;
    /// 1168 (ERROR_NOT_FOUND): a server doesn't wait for answers.
    uint32_t replyStatus(const ConnectorMessage*, uint32_t) override { return ERROR_NOT_FOUND; }
    uint32_t replyData(const ConnectorMessage*, uint32_t, const void*, uint32_t) override {
        return ERROR_NOT_FOUND;
    }
    void freeResponse(ConnectorResponse* response) override { m_calls.Free(response); }
    uint32_t setCallback(ConnectorCallback* function, void* context, uint32_t mode) override;
    /// 50 (ERROR_NOT_SUPPORTED).
    uint32_t broadcast(uint32_t, const void*, uint32_t, uint64_t, uint64_t, uint32_t) override {
        return ERROR_NOT_SUPPORTED;
    }

private:
    bool OnFrame(CPipeConnection& connection, const FrameHeader& header, uint8_t* bytes) override;
    void OnUnsound(CPipeConnection& connection) override;
    void OnWoken() override { _DeliverKept(); }
    void OnOver() override { m_calls.Break(); }

    void _Keep(const ConnectorMessage* message);
    void _DeliverKept();

    CWriteCompletions m_completions;
    CCallTable m_calls;
    CPipeConnection m_connection;

    // What came before the first setCallback; the connection's thread's.
    std::deque<std::vector<uint8_t>> m_kept;
    size_t m_keptBytes = 0;
};

}  // namespace host
