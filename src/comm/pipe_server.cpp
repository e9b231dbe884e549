#include "comm/pipe_server.h"

#include <windows.h>

#include "frame/trace.h"

namespace optimizer {

namespace {

constexpr const wchar_t* kConnector = L"connserver";

}  // namespace

uint32_t CPipeServer::Init(IServMain* main, const wchar_t* name, const Identifier& iid, void** plugin) {
    TRACE_SCOPE("CPipeServer::Init");
    if (main == nullptr) {
        TRACE_LINE(trace::kError, L"IServMain is null!");
        return ERROR_GEN_FAILURE;
    }
    m_components = main->GetComponentManager();
    if (m_components == nullptr) {
        TRACE_LINE(trace::kError, L"Component Manager is null!");
        return ERROR_GEN_FAILURE;
    }
    uint32_t error = m_components->GetPlugin(name, &iid, plugin);
    if (error != ERROR_SUCCESS) {
        TRACE_LINE(trace::kError, L"Error getting plugin: %s", name);
        return error;
    }
    m_name = name;
    void* connector = nullptr;
    error = m_components->GetPlugin(kConnector, &IConnectorServer::kIdentifier, &connector);
    if (error != ERROR_SUCCESS) {
        TRACE_LINE(trace::kError, L"Error getting connector server.");
        return error;
    }
    m_connector = static_cast<IConnectorServer*>(connector);
    return ERROR_SUCCESS;
}

void CPipeServer::UnInit() {
    if (m_name != nullptr) m_components->ReleasePlugin(m_name);
    if (m_connector != nullptr) m_components->ReleasePlugin(kConnector);
    m_name = nullptr;
    m_connector = nullptr;
    m_components = nullptr;
}

uint32_t CPipeServer::Start(const wchar_t* pipe, ConnectorCallback* receive, void* context) {
    TRACE_SCOPE("CPipeServer::Start");
    if (m_connector == nullptr) {
        TRACE_LINE(trace::kError, L"Connector server is null.");
        return ERROR_GEN_FAILURE;
    }
    ConnectorEndpoint* const endpoint = m_connector->registerPipe(pipe, kCommonPipeName);
    if (endpoint == nullptr) {
        TRACE_LINE(trace::kError, L"Could not register comm server: %s", pipe);
        // There is no null end to go on with: whoever started this is told.
        return ERROR_GEN_FAILURE;
    }
    m_endpoint = endpoint;
    endpoint->setCallback(receive, context, 1);
    return ERROR_SUCCESS;
}

void CPipeServer::Stop() {
    if (ConnectorEndpoint* const endpoint = m_endpoint) {
        endpoint->stopReceiving(1);
        m_connector->unregisterPipe(endpoint);
    }
    m_endpoint = nullptr;
}

void CPipeServer::ReplyStatus(const ConnectorMessage* message, uint32_t status) {
    if (SenderWaits(message)) m_endpoint.load()->replyStatus(message, status);
}

bool CPipeServer::Answer(const ConnectorMessage* message, const void* data, uint32_t sizeBytes) {
    ConnectorEndpoint* const endpoint = m_endpoint;
    if (sizeBytes > kMostPayloadBytes) {
        // An error rather than a wait in vain.
        if (SenderWaits(message)) endpoint->replyStatus(message, ERROR_GEN_FAILURE);
        return false;
    }
    // Not every connector gives these a result: what one leaves in its place isn't looked at, or a good
    // answer would be followed by a second one.
    if (SenderWaits(message)) {
        endpoint->replyData(message, message->id, data, sizeBytes);
    } else {
        endpoint->postMessage(message->id, data, sizeBytes, message->senderId);
    }
    return true;
}

void CPipeServer::AnswerStatus(const ConnectorMessage* message, uint32_t status, uint32_t answerId) {
    ConnectorEndpoint* const endpoint = m_endpoint;
    if (SenderWaits(message)) {
        endpoint->replyStatus(message, status);
    } else {
        endpoint->postMessage(answerId, &status, sizeof status, message->senderId);
    }
}

void CPipeServer::Broadcast(uint32_t id, const void* data, uint32_t sizeBytes) {
    if (ConnectorEndpoint* const endpoint = m_endpoint)
        endpoint->broadcast(id, data, sizeBytes, 0, 0, kEveryClient);
}

}  // namespace optimizer
