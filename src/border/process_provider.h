// Starts and ends of processes, as the host reports them.
#pragma once

#include <stddef.h>

#include "border/plugin.h"

/// One start or end. The layout is a format: receivers copy the record as it is.
struct _PROCESS_NOTIF {
    /// Bit of `flags`: the process has ended. Clear, it has started; the other bits mean nothing.
    static constexpr uint32_t kEnded = 1;

    uint32_t pid;
    uint32_t reserved1;
    uint32_t parentPid;
    uint32_t reserved2;
    uint32_t flags;
    uint32_t reserved3;
    const wchar_t* name;  // full path of the image, null when the host can't tell; valid during the call only
};
static_assert(offsetof(_PROCESS_NOTIF, parentPid) == 8 && offsetof(_PROCESS_NOTIF, flags) == 16);
static_assert(offsetof(_PROCESS_NOTIF, name) == 24 && sizeof(_PROCESS_NOTIF) == 32);

/// Called on the plug-in's own thread, one notification after the other. The result isn't looked at.
using ProcessNotifyFunction = uint32_t(const _PROCESS_NOTIF* record, void* context);

/// Plug-in "processdp". Any thread may call.
struct IProcessProvider : IServPlugin {
    static constexpr Identifier kIdentifier = {
        0x83242b77, 0x421c, 0xb8dc, {0xa4, 0x43, 0x57, 0xee, 0x52, 0x26, 0x13, 0x74}};

    /// What starts or ends from now on is told to `function` with this context. True on success.
    virtual bool RegisterProcessNotifyCallback(ProcessNotifyFunction* function, void* context,
                                               uint64_t reserved) = 0;  // 5
    /// Takes the registration of the same function and context back; false when there is none. A host may
    /// wait for its call in flight, so that a caller must not hold a lock that its function takes, or may
    /// not, so that its function must bear a late call.
    virtual bool UnregisterProcessNotifyCallback(ProcessNotifyFunction* function, void* context) = 0;  // 6
};
