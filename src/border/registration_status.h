// The product's registration: who is signed in, and with what.
//
// The operations behind the life cycle are this project's own choice; whoever puts another registration in
// its place has this header to adapt and nothing else.
#pragma once

#include "border/plugin.h"

/// Texts are UTF-8, never null, and valid during the call that hands them over.
struct RegistrationFields {
    const char* email;
    const char* token;
    int32_t partnerId;
    uint8_t authenticated;
};

/// What a callback is told of.
enum class RegistrationChange : uint32_t {
    Status = 0,   // signed in or out, or another partner
    Account = 1,  // another e-mail address or token
};

using RegistrationReceiver = void(void* context, const RegistrationFields* fields);
/// Called on the plug-in's own thread. It may call Read, but must not register or unregister from inside.
using RegistrationCallback = void(void* context);

/// Plug-in "regal". Any thread may call.
struct IRegistrationStatus : IServPlugin {
    static constexpr Identifier kIdentifier = {
        0xfb4d72ea, 0xb671, 0xa674, {0xb0, 0x4f, 0xae, 0xa1, 0x82, 0xcf, 0xa4, 0x96}};

    /// Calls `receive` once, with the fields as they are, before it returns. `receive` must not call the
    /// plug-in.
    virtual void Read(RegistrationReceiver* receive, void* context) = 0;  // 5
    /// 0, or 183 for a callback that is there already with the same context.
    virtual uint32_t RegisterCallback(RegistrationChange change, RegistrationCallback* function,
                                      void* context) = 0;  // 6
    /// Returns when no call to the callback is in flight, so that a caller must not hold a lock that the
    /// callback takes.
    virtual uint32_t UnregisterCallback(RegistrationChange change, RegistrationCallback* function,
                                        void* context) = 0;  // 7
};
