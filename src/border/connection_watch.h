// What the connector's client end tells of its connections to the host that loaded it.
#pragma once

#include "border/plugin.h"

/// Answered for by the plug-in "connclient", beside IConnectorClient; this host's own addition.
struct IConnectionWatch : IVxBaseInterface {
    static constexpr Identifier kIdentifier = {
        0x5b0d8c62, 0x1e7f, 0x4a39, {0xb4, 0x6a, 0x92, 0x0e, 0xd5, 0x73, 0x18, 0xc4}};

    /// How many of the connections that nobody has given back yet were ended by their server.
    virtual uint32_t LostConnections() = 0;  // 1
};
