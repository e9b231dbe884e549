#include "connector/client_endpoint.h"

#include <utility>

#include <windows.h>

#include "frame/guarded.h"
#include "frame/trace.h"

namespace host {

using optimizer::Guarded;

namespace trace = optimizer::trace;

namespace {

constexpr size_t kMostKeptBytes = size_t{1024} * 1024;

}  // namespace

CClientEndpoint::CClientEndpoint(optimizer::FileHandle pipe)
    : m_connection(std::move(pipe), CPipeConnection::Side::Client, 0, *this) {}

CClientEndpoint::~CClientEndpoint() {
    m_connection.End();
    m_calls.Break();
    m_calls.WaitUntilEmpty();
}

uint32_t CClientEndpoint::Open(uint32_t timeoutMs) {
    CCallTable::Call welcome(m_calls);  // the first: its number is kWelcomeCall
    uint32_t error = m_completions.Open();
    if (error == ERROR_SUCCESS) error = m_connection.Open(m_completions);
    if (error == ERROR_SUCCESS) error = m_connection.Start();
    if (error != ERROR_SUCCESS) return error;
    ConnectorResponse* response = nullptr;
    error = welcome.Wait(timeoutMs, &response);
    m_calls.Free(response);
    return error;
}

uint32_t CClientEndpoint::sendMessage(uint32_t id, const void* data, uint32_t sizeBytes,
                                      ConnectorResponse** response, uint64_t /*reserved*/,
                                      uint32_t timeoutMs) {
    return Guarded([&]() -> uint32_t {
        uint32_t error = response == nullptr ? ERROR_INVALID_PARAMETER : CheckPayload(data, sizeBytes);
        if (error != ERROR_SUCCESS) return error;
        CCallTable::Call call(m_calls);
        const FrameHeader header = {
            .kind = FrameKind::Request, .call = call.Number(), .id = id, .sizeBytes = sizeBytes};
        error = m_connection.Send(MakeFrame(header, data));
        return error == ERROR_SUCCESS ? call.Wait(timeoutMs, response) : error;
    });
}

uint32_t CClientEndpoint::postMessage(uint32_t id, const void* data, uint32_t sizeBytes,
                                      uint32_t /*target*/) {
    return Guarded([&]() -> uint32_t {
        const uint32_t error = CheckPayload(data, sizeBytes);
        if (error != ERROR_SUCCESS) return error;
        return m_connection.Send(MakeFrame({.id = id, .sizeBytes = sizeBytes}, data));
    });
}

uint32_t CClientEndpoint::setCallback(ConnectorCallback* function, void* context, uint32_t /*mode*/) {
    if (function == nullptr) return ERROR_INVALID_PARAMETER;
    m_gate.Open(function, context);
    m_connection.Wake();  // delivers what was kept
    return ERROR_SUCCESS;
}

bool CClientEndpoint::OnFrame(CPipeConnection&, const FrameHeader& header, uint8_t* bytes) {
    switch (header.kind) {
        case FrameKind::Reply:
            m_calls.Complete(header.call, header.status, bytes + sizeof(header), header.sizeBytes);
            return true;
        case FrameKind::Post: {
            const ConnectorMessage* const message = _MessageFrom(header, bytes, 0);
            if (m_gate.WasOpened()) {
                _DeliverKept();
                m_gate.Deliver(message);
            } else {
                _Keep(message);
            }
            return true;
        }
        default:
            return false;
    }
}

void CClientEndpoint::OnUnsound(CPipeConnection&) {
    TRACE_SCOPE("CClientEndpoint::OnUnsound");
    TRACE_LINE(trace::kError, L"The server sent an unsound frame; the connection ends");
}

void CClientEndpoint::_Keep(const ConnectorMessage* message) {
    const size_t sizeBytes = sizeof(*message) + message->sizeBytes;
    if (m_keptBytes + sizeBytes > kMostKeptBytes) {
        TRACE_SCOPE("CClientEndpoint::_Keep");
        TRACE_LINE(trace::kWarning, L"Message %u is lost: nobody receives yet", message->id);
        return;
    }
    const auto* const bytes = reinterpret_cast<const uint8_t*>(message);
    m_kept.emplace_back(bytes, bytes + sizeBytes);
    m_keptBytes += sizeBytes;
}

void CClientEndpoint::_DeliverKept() {
    for (const auto& message : m_kept)
        m_gate.Deliver(reinterpret_cast<const ConnectorMessage*>(message.data()));
    m_kept.clear();
    m_keptBytes = 0;
}

}  // namespace host
