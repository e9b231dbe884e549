// What the host's main object tells a person who asks why it wouldn't start.
#pragma once

#include "border/plugin.h"

/// Answered for by "ServMain", beside IServMain; this host's own addition.
struct IHostDiagnostics : IVxBaseInterface {
    static constexpr Identifier kIdentifier = {
        0xd46c5e1b, 0x8f0a, 0x4b73, {0x9c, 0x25, 0x6e, 0xd1, 0x37, 0x40, 0xa8, 0x5f}};

    /// One sentence on why the last LoadPlugins failed, with the system's own error text; empty when it
    /// didn't. The text belongs to the host and lasts until the next LoadPlugins.
    virtual const wchar_t* LastFailure() = 0;  // 1
};
