#pragma once

#include "border/connection_watch.h"
#include "border/connector.h"
#include "connector/client_endpoint.h"
#include "connector/endpoint_list.h"
#include "frame/log_binding.h"

namespace host {

/// Component "connclient": makes the client ends of pipes. Any thread. It needs nothing of the host, and what
/// a caller hasn't disconnected ends with it.
class CConnClient final : public IConnectorClient, public IConnectionWatch {
public:
    CConnClient() { m_log.Get(); }
    CConnClient(const CConnClient&) = delete;
    CConnClient& operator=(const CConnClient&) = delete;

    void* QueryInterface(const Identifier* iid) override;
    /// `main` may be null.
    uint32_t Init(IServMain*) override { return 0; }
    void UnInit() override {}
    uint32_t Start() override { return 0; }
    uint32_t Stop() override { return 0; }
    void reserved5() override {}
    /// Blocks until the server has admitted the client: its events are heard from then on. Null leaves the
    /// reason as the thread's last error: 1307 (ERROR_INVALID_OWNER) for a pipe that neither SYSTEM nor an
    /// administrator nor this process's account serves, to which nothing is sent.
    ConnectorEndpoint* connectPipe(const wchar_t* pipeName, uint64_t reserved, const wchar_t* commonPipeName,
                                   uint32_t timeoutMs) override;
    /// Blocks until no receive function runs and no call waits.
    void disconnectPipe(ConnectorEndpoint* endpoint) override;
    uint32_t LostConnections() override;

private:
    optimizer::trace::LogHolder m_log;
    CEndpointList<CClientEndpoint> m_endpoints;
};

}  // namespace host
