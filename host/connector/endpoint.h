#pragma once

#include "border/connector.h"
#include "connector/receive_gate.h"
#include "connector/wire_frame.h"

namespace host {

/// What both ends of a pipe have in common.
class CEndpoint : public ConnectorEndpoint {
public:
    CEndpoint() = default;
    CEndpoint(const CEndpoint&) = delete;
    CEndpoint& operator=(const CEndpoint&) = delete;

    void reserved0() override {}
    void reserved1() override {}
    void reserved3() override {}
    void reserved4() override {}
    void reserved6() override {}
    void reserved9() override {}
    void reserved11() override {}
    void reserved12() override {}
    uint32_t stopReceiving(uint32_t mode) override;
    void reserved15() override {}
    void reserved16() override {}

protected:
    ~CEndpoint() = default;

    /// Builds the receive function's record in place of the frame's header; its payload follows already.
    static const ConnectorMessage* _MessageFrom(const FrameHeader& header, uint8_t* bytes, uint32_t senderId);
    static uint32_t _CallOf(const ConnectorMessage* message) { return message->reserved1[0]; }

    CReceiveGate m_gate;
};

}  // namespace host
