// The engine as another process reaches it, over the pipe of the service.
#pragma once

#include "border/optimizer.h"

/// Component "optimizercommclient", one object per use. Start connects and fails with 8 after five seconds
/// without a service. The operations must not be called unless Start returned 0; each blocks for five seconds
/// at most and gives an error of the connection in place of the engine's.
struct IOptimizerALCommClient : IOptimizer {
    static constexpr Identifier kIdentifier = {
        0x53468429, 0x15a9, 0x4a8d, {0xad, 0x7d, 0xca, 0x91, 0xd3, 0x22, 0x23, 0x8e}};
};

/// Hears the answers to asynchronous requests, on the connector's threads. Pointers are valid during the call
/// only.
struct IOptimizerResponse {
    using profile = optimizer::profiles::profile;

    virtual void OnGetProfile(const profile* active) = 0;                              // 0
    virtual void OnGetProfileConfig(const profile* which, const wchar_t* config) = 0;  // 1
    virtual void OnGetModuleEnable(bool enabled) = 0;                                  // 2
};

/// The same requests without waiting for the answers. Each gives the connector's code.
struct IOptimizerALCommClientAsync : IVxBaseInterface {
    using profile = optimizer::profiles::profile;

    static constexpr Identifier kIdentifier = {
        0xd4b07142, 0xa342, 0x456d, {0xba, 0x53, 0x3f, 0xdf, 0x87, 0xfc, 0x48, 0xaa}};

    virtual uint32_t StartTaskAsync(const int32_t* task) = 0;                                    // 1
    virtual uint32_t CancelTaskAsync(const int32_t* task) = 0;                                   // 2
    virtual uint32_t SetProfileAsync(const profile* wanted) = 0;                                 // 3
    virtual uint32_t GetProfileAsync() = 0;                                                      // 4
    virtual uint32_t SetProfileConfigAsync(const profile* which, const vx::String* config) = 0;  // 5
    virtual uint32_t GetProfileConfigAsync(const profile* which) = 0;                            // 6
    virtual uint32_t SetModuleEnableAsync(bool enable) = 0;                                      // 7
    virtual uint32_t GetModuleEnableAsync() = 0;                                                 // 8
    virtual uint32_t AddResponseObserver(IOptimizerResponse* observer) = 0;                      // 9
    virtual uint32_t RemoveResponseObserver(IOptimizerResponse* observer) = 0;                   // 10
};
