#include "comm/client_connection.h"

#include <windows.h>

#include "comm/byte_stream.h"
#include "frame/errors.h"
#include "frame/guarded.h"
#include "frame/module_path.h"
#include "frame/trace.h"

namespace optimizer {

namespace {

constexpr const wchar_t* kConnectorObject = L"connclient";
constexpr uint32_t kConnectTimeoutMs = 5000;
constexpr uint32_t kRequestTimeoutMs = 5000;

}  // namespace

CClientConnection::~CClientConnection() {
    _Disconnect();
    m_connector.Release();
}

uint32_t CClientConnection::Init() {
    const LockGuard guard(m_lock);
    if (++m_initCount >= 2) return ERROR_SUCCESS;
    // Not checked: what is held here isn't known to be held in a function that another one calls.
    const uint32_t error = Guarded([&]() NO_THREAD_SAFETY_ANALYSIS { return _Init(); });
    if (error != ERROR_SUCCESS) _UnInit();
    return error;
}

uint32_t CClientConnection::_Init() {
    m_log.Get();
    TRACE_SCOPE("CClientConnection::_Init");
    uint32_t error = m_connector.Load(GetModuleFolder() + L"connector.dll", kConnectorObject);
    if (error == ERROR_PROC_NOT_FOUND) error = kErrorNoInterface;
    if (error != ERROR_SUCCESS) {
        TRACE_LINE(trace::kError, L"FAILED load connector.dll 0x%x", error);
        return error;
    }
    IConnectorClient* const connector = m_connector.Get();
    error = connector->Init(nullptr);
    if (error != ERROR_SUCCESS) {
        TRACE_LINE(trace::kError, L"FAILED connector init 0x%x", error);
        return error;
    }
    error = connector->Start();
    if (error != ERROR_SUCCESS) {
        TRACE_LINE(trace::kError, L"FAILED connector start 0x%x", error);
        return error;
    }
    m_connections =
        static_cast<IConnectorClient*>(m_connector.QueryInterface(&IConnectorClient::kIdentifier));
    return m_connections != nullptr ? uint32_t{ERROR_SUCCESS} : kErrorNoInterface;
}

bool CClientConnection::_UnInit() {
    // One too many counts for nothing: the next Init would load the connector anew under a live endpoint.
    if (m_initCount == 0 || --m_initCount != 0) return false;
    _Disconnect();
    m_connections = nullptr;
    if (IConnectorClient* const connector = m_connector.Get()) {
        connector->Stop();
        connector->UnInit();
    }
    m_connector.Release();
    m_log.Release();
    return true;
}

void CClientConnection::_Disconnect() {
    ConnectorEndpoint* endpoint = nullptr;
    {
        const SharedGuard guard(m_endpointLock);
        endpoint = m_endpoint;
    }
    if (endpoint == nullptr) return;
    endpoint->stopReceiving(1);
    {
        const LockGuard guard(m_endpointLock);  // waits for the requests in flight
        m_endpoint = nullptr;
    }
    m_connections->disconnectPipe(endpoint);
}

uint32_t CClientConnection::Start(ConnectorCallback* receive, void* context) {
    TRACE_SCOPE("CClientConnection::Start");
    const LockGuard guard(m_lock);
    // Raised and left so also when the connection fails; callers rely on it.
    if (++m_startCount >= 2) return ERROR_SUCCESS;
    ConnectorEndpoint* const endpoint =
        m_connections != nullptr ? m_connections->connectPipe(m_pipe, 0, kCommonPipeName, kConnectTimeoutMs)
                                 : nullptr;
    if (endpoint == nullptr) {
        // The misspelling is the text that readers of the log look for.
        TRACE_LINE(trace::kError, L"Coould not connect comm server: %s", m_pipe);
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    {
        const LockGuard endpointGuard(m_endpointLock);
        m_endpoint = endpoint;
    }
    endpoint->setCallback(receive, context, 1);
    return ERROR_SUCCESS;
}

void CClientConnection::Stop() {
    const LockGuard guard(m_lock);
    // Not below 0, for the same reason.
    if (m_startCount != 0 && --m_startCount == 0) _Disconnect();
}

CClientConnection::Outcome CClientConnection::Ask(uint32_t id, const void* data, uint32_t sizeBytes,
                                                  CByteStream& answer) {
    const SharedGuard guard(m_endpointLock);
    if (m_endpoint == nullptr) return {ERROR_GEN_FAILURE, 0};
    ConnectorResponse* response = nullptr;
    const uint32_t code = m_endpoint->sendMessage(id, data, sizeBytes, &response, 0, kRequestTimeoutMs);
    if (code != ERROR_SUCCESS) return {code, 0};
    // A response with a status stays the endpoint's; it isn't freed here.
    if (response->status != ERROR_SUCCESS) return {ERROR_SUCCESS, response->status};
    answer.Write(response->data, response->sizeBytes);
    const bool whole = answer.SizeBytes() == response->sizeBytes;
    m_endpoint->freeResponse(response);
    return {whole ? uint32_t{ERROR_SUCCESS} : uint32_t{ERROR_OUTOFMEMORY}, 0};
}

uint32_t CClientConnection::Post(uint32_t id, const void* data, uint32_t sizeBytes) {
    const SharedGuard guard(m_endpointLock);
    if (m_endpoint == nullptr) return ERROR_GEN_FAILURE;
    return m_endpoint->postMessage(id, data, sizeBytes, 0);
}

void CClientConnection::ReplyStatus(const ConnectorMessage* message, uint32_t status) {
    const SharedGuard guard(m_endpointLock);
    if (m_endpoint != nullptr && SenderWaits(message)) m_endpoint->replyStatus(message, status);
}

}  // namespace optimizer
