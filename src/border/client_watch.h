// What the connector's server end tells of its clients to the component that serves them.
#pragma once

#include "border/connector.h"

/// Answered for by the plug-in "connserver", beside IConnectorServer; this host's own addition. Any thread,
/// also from inside a receive function. The endpoint is one that registerPipe gave and nobody has ended.
struct IClientWatch : IVxBaseInterface {
    static constexpr Identifier kIdentifier = {
        0x93c5a0d7, 0x4b6e, 0x4f12, {0xa8, 0x3d, 0x71, 0xe4, 0x0c, 0x5f, 0x96, 0x2b}};

    /// Of a client that has gone, or whose session the system doesn't tell.
    static constexpr uint32_t kNoSession = 0xFFFFFFFF;

    /// How many clients are connected whose processes run in that session.
    virtual uint32_t CountClients(ConnectorEndpoint* endpoint, uint32_t session) = 0;  // 1
    /// The session of the process that sent a message: its number as Terminal Services count them.
    virtual uint32_t SessionOf(ConnectorEndpoint* endpoint, uint32_t senderId) = 0;  // 2
    /// Sends as a broadcast does, and with its code, but only to the clients that CountClients counts.
    virtual uint32_t PostToSession(ConnectorEndpoint* endpoint, uint32_t session, uint32_t id,
                                   const void* data, uint32_t sizeBytes) = 0;  // 3
};
