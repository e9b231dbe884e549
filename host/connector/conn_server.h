#pragma once

#include "border/client_watch.h"
#include "border/connector.h"
#include "border/plugin.h"
#include "connector/endpoint_list.h"
#include "connector/server_endpoint.h"
#include "frame/log_binding.h"

namespace host {

/// Component "connserver": makes the server ends of pipes. Any thread. It needs nothing of the host, and what
/// a caller hasn't unregistered ends with it.
class CConnServer final : public IServPlugin, public IConnectorServer, public IClientWatch {
public:
    CConnServer() { m_log.Get(); }
    CConnServer(const CConnServer&) = delete;
    CConnServer& operator=(const CConnServer&) = delete;

    void* QueryInterface(const Identifier* iid) override;
    uint32_t Init(IServMain*) override { return 0; }
    void UnInit() override {}
    uint32_t Start() override { return 0; }
    uint32_t Stop() override { return 0; }
    /// The common name is the same for every pipe of the suite and tells the connector nothing. Null leaves
    /// the reason as the thread's last error.
    ConnectorEndpoint* registerPipe(const wchar_t* pipeName, const wchar_t* commonPipeName) override;
    /// Blocks until no receive function runs.
    void unregisterPipe(ConnectorEndpoint* endpoint) override;
    uint32_t CountClients(ConnectorEndpoint* endpoint, uint32_t session) override;
    uint32_t SessionOf(ConnectorEndpoint* endpoint, uint32_t senderId) override;
    uint32_t PostToSession(ConnectorEndpoint* endpoint, uint32_t session, uint32_t id, const void* data,
                           uint32_t sizeBytes) override;

private:
    optimizer::trace::LogHolder m_log;
    CEndpointList<CServerEndpoint> m_endpoints;
};

}  // namespace host
