// The client of the suite's cloud service: one text goes out, one comes back.
#pragma once

#include "border/plugin.h"

/// Both belong to the interface that made them.
struct VeloraRequest;
struct VeloraResponse;

/// Name of the interface below.
inline constexpr const wchar_t* kVeloraName = L"ivelora.1";

/// Results are 0 for success. One thread at a time.
struct IVelora {
    /// Gives the interface back; its requests and responses must have gone before.
    virtual void Release() = 0;    // 0
    virtual void Reserved1() = 0;  // 1
    virtual void Reserved2() = 0;  // 2
    virtual void Reserved3() = 0;  // 3
    /// Performs the exchange; blocks for the request's time-out at most. `*response` is set on 0 only and
    /// goes back with FreeResponse.
    virtual int32_t Ask(VeloraRequest* request, VeloraResponse** response) = 0;  // 4
    /// Null on failure.
    virtual VeloraRequest* RequestCreate() = 0;                                      // 5
    virtual void RequestDestroy(VeloraRequest* request) = 0;                         // 6
    virtual void RequestSetTimeout(VeloraRequest* request, uint32_t timeoutMs) = 0;  // 7
    virtual void Reserved8() = 0;                                                    // 8
    /// The path of a service below the server's address; copied.
    virtual void RequestSetTarget(VeloraRequest* request, const char* path) = 0;  // 9
    virtual void Reserved10() = 0;                                                // 10
    virtual void Reserved11() = 0;                                                // 11
    virtual void Reserved12() = 0;                                                // 12
    /// Copied.
    virtual void RequestSetBody(VeloraRequest* request, const void* data, uint32_t sizeBytes) = 0;  // 13
    virtual void FreeResponse(VeloraResponse* response) = 0;                                        // 14
    /// 0, or what the server said instead.
    virtual int32_t ResponseGetStatus(VeloraResponse* response) = 0;  // 15
    /// One part of the answer, valid as long as the response. kNoMoreParts behind the last.
    virtual int32_t ResponseGetPart(VeloraResponse* response, uint32_t index, const void** data,
                                    uint32_t* sizeBytes) = 0;  // 16

    static constexpr int32_t kNoMoreParts = -1;  // 0xFFFFFFFF
};

/// Plug-in "icloud". Any thread may call.
struct ICloud : IServPlugin {
    static constexpr Identifier kIdentifier = {
        0x02ee2645, 0x32f5, 0xb0fd, {0xf1, 0x49, 0xf2, 0xc2, 0xce, 0x0f, 0x72, 0xa2}};

    virtual void Reserved5() = 0;  // 5
    /// An interface of its own for each call, as IVelora for kVeloraName; null for another name and on
    /// failure. It must be given back before the plug-in goes.
    virtual void* GetInterface(const wchar_t* name) = 0;  // 6
};
