// Logons, logoffs and console changes, as the host passes them on.
#pragma once

#include "border/plugin.h"

struct tagWTSSESSION_NOTIFICATION;

/// Receives session changes, on the thread of the plug-in that reports them.
struct ISessionChangeEvents {
    /// `time` is the host's tick count in milliseconds. `event` is one of the WTS_... codes of a session
    /// change. The notification is valid during the call only.
    virtual void OnSessionChange(uint32_t time, uint32_t event,
                                 const tagWTSSESSION_NOTIFICATION* notification) = 0;  // 0
};

/// Plug-in "sessionchange". Positions 5 and 6 are this host's choice; nobody else relies on them.
struct ISessionChange : IServPlugin {
    static constexpr Identifier kIdentifier = {
        0x36af1553, 0xe9bb, 0x8efd, {0x32, 0x49, 0x25, 0xcc, 0xe5, 0xe9, 0xb1, 0x87}};

    /// 0, or 183 for an observer that is there already.
    virtual uint32_t Subscribe(ISessionChangeEvents* observer) = 0;  // 5
    /// Returns when no call to the observer is in flight.
    virtual uint32_t Unsubscribe(ISessionChangeEvents* observer) = 0;  // 6
    /// For the host program: passes a session change on to all observers, on the caller's thread.
    virtual void Notify(uint32_t time, uint32_t event,
                        const tagWTSSESSION_NOTIFICATION* notification) = 0;  // 7
};
