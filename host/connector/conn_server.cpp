#include "connector/conn_server.h"

#include <memory>
#include <utility>

#include <windows.h>

#include "frame/guarded.h"
#include "frame/trace.h"

namespace host {

namespace trace = optimizer::trace;

void* CConnServer::QueryInterface(const Identifier* iid) {
    if (iid == nullptr) return nullptr;
    if (*iid == IConnectorServer::kIdentifier) return static_cast<IConnectorServer*>(this);
    if (*iid == IClientWatch::kIdentifier) return static_cast<IClientWatch*>(this);
    const bool known = *iid == IVxBaseInterface::kIdentifier || *iid == IServPlugin::kIdentifier;
    return known ? static_cast<IServPlugin*>(this) : nullptr;
}

ConnectorEndpoint* CConnServer::registerPipe(const wchar_t* pipeName, const wchar_t* /*commonPipeName*/) {
    TRACE_SCOPE("CConnServer::registerPipe");
    ConnectorEndpoint* registered = nullptr;
    const uint32_t error = optimizer::Guarded([&]() -> uint32_t {
        auto endpoint = std::make_unique<CServerEndpoint>();
        const uint32_t opened = endpoint->Open(pipeName);
        if (opened == ERROR_SUCCESS) registered = m_endpoints.Add(std::move(endpoint));
        return opened;
    });
    if (registered == nullptr) {
        TRACE_LINE(trace::kError, L"Pipe %s can't be served: 0x%x", pipeName != nullptr ? pipeName : L"",
                   error);
        SetLastError(error);
    }
    return registered;
}

void CConnServer::unregisterPipe(ConnectorEndpoint* endpoint) {
    TRACE_SCOPE("CConnServer::unregisterPipe");
    m_endpoints.Remove(endpoint).reset();
}

uint32_t CConnServer::CountClients(ConnectorEndpoint* endpoint, uint32_t session) {
    return endpoint != nullptr ? static_cast<CServerEndpoint*>(endpoint)->CountClients(session) : 0;
}

uint32_t CConnServer::SessionOf(ConnectorEndpoint* endpoint, uint32_t senderId) {
    return endpoint != nullptr ? static_cast<CServerEndpoint*>(endpoint)->SessionOf(senderId) : kNoSession;
}

uint32_t CConnServer::PostToSession(ConnectorEndpoint* endpoint, uint32_t session, uint32_t id,
                                    const void* data, uint32_t sizeBytes) {
    if (endpoint == nullptr) return ERROR_INVALID_PARAMETER;
    return static_cast<CServerEndpoint*>(endpoint)->PostToSession(session, id, data, sizeBytes);
}

}  // namespace host
