#include "connector/endpoint.h"

#include <new>

#include "frame/guarded.h"

namespace host {

uint32_t CEndpoint::stopReceiving(uint32_t /*mode*/) {
    return optimizer::Guarded([&] {
        m_gate.Close();
        return 0u;
    });
}

const ConnectorMessage* CEndpoint::_MessageFrom(const FrameHeader& header, uint8_t* bytes,
                                                uint32_t senderId) {
    static_assert(sizeof(ConnectorMessage) == sizeof(FrameHeader));
    auto* const message = new (bytes) ConnectorMessage{};
    message->senderId = senderId;
    message->reserved1[0] = header.call;
    message->id = header.id;
    message->flags = header.kind == FrameKind::Request ? ConnectorMessage::kSenderWaits : 0;
    message->status = header.status;
    message->sizeBytes = header.sizeBytes;
    return message;
}

}  // namespace host
