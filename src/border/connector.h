// What the module requires of the connector: message pipes between the service and its clients.
//
// The layout of ConnectorMessage and ConnectorResponse is a format: both sides reach into them by offset.
#pragma once

#include <stddef.h>

#include "border/plugin.h"

/// Second name of every pipe registration.
inline constexpr const wchar_t* kCommonPipeName = L"optimizercommonpipe";

/// Target of a broadcast that goes to every client.
inline constexpr uint32_t kEveryClient = 0xFFFFFFFF;

/// The largest payload of a message in either direction: twice what the largest settings need. A reader holds
/// a message several times over while it unpacks it.
inline constexpr uint32_t kMostPayloadBytes = 1024 * 1024;

/// A received message; the payload's bytes follow the record. It lives while the receive function runs.
struct ConnectorMessage {
    /// Bit of `flags`: the sender waits in sendMessage and must be answered.
    static constexpr uint32_t kSenderWaits = 1;

    uint32_t senderId;  // the target of an answer by postMessage
    uint32_t reserved1[2];
    uint32_t id;
    uint32_t reserved2;
    uint32_t flags;
    uint32_t status;     // of a data message
    uint32_t sizeBytes;  // of the payload
};
static_assert(offsetof(ConnectorMessage, id) == 12 && offsetof(ConnectorMessage, flags) == 20);
static_assert(sizeof(ConnectorMessage) == 32);

inline const void* PayloadOf(const ConnectorMessage* message) {
    return message + 1;
}

inline bool SenderWaits(const ConnectorMessage* message) {
    return (message->flags & ConnectorMessage::kSenderWaits) != 0;
}

/// The answer to sendMessage. With a status other than 0 the data isn't valid.
struct ConnectorResponse {
    uint32_t reserved1;
    uint32_t status;
    uint32_t sizeBytes;
    uint32_t reserved2;
    const void* data;  // the status's four bytes when it was answered by replyStatus
};
static_assert(offsetof(ConnectorResponse, status) == 4 && offsetof(ConnectorResponse, sizeBytes) == 8);
static_assert(offsetof(ConnectorResponse, data) == 16);

/// Called on the connector's threads: one message after the other for one client, side by side for several.
/// The connector doesn't look at the result and answers nobody by itself.
using ConnectorCallback = uint32_t(void* context, const ConnectorMessage* message);

/// One end of a pipe. Any thread may call any operation. Results are Windows error codes, 0 for success.
struct ConnectorEndpoint {
    virtual void reserved0() = 0;  // 0
    virtual void reserved1() = 0;  // 1
    /// Sends and blocks for the answer, `timeoutMs` at most. `*response` is set on 0 only and goes back with
    /// freeResponse; one with a status other than 0 may be left to the endpoint, which frees it at its end.
    /// Of a client end; from inside the receive function no answer can arrive.
    virtual uint32_t sendMessage(uint32_t id, const void* data, uint32_t sizeBytes,
                                 ConnectorResponse** response, uint64_t reserved,
                                 uint32_t timeoutMs) = 0;  // 2
    virtual void reserved3() = 0;                          // 3
    virtual void reserved4() = 0;                          // 4
    /// Sends without waiting. `target` is a message's sender on a server end, 0 on a client end.
    virtual uint32_t postMessage(uint32_t id, const void* data, uint32_t sizeBytes,
                                 uint32_t target) = 0;  // 5
    virtual void reserved6() = 0;                       // 6
    /// Answer a message whose sender waits. Only the first answer to a message counts.
    virtual uint32_t replyStatus(const ConnectorMessage* message, uint32_t status) = 0;  // 7
    virtual uint32_t replyData(const ConnectorMessage* message, uint32_t id, const void* data,
                               uint32_t sizeBytes) = 0;  // 8
    virtual void reserved9() = 0;                        // 9
    /// Null is accepted.
    virtual void freeResponse(ConnectorResponse* response) = 0;  // 10
    virtual void reserved11() = 0;                               // 11
    virtual void reserved12() = 0;                               // 12
    /// Installs the receive function and starts delivery. `mode` is 1.
    virtual uint32_t setCallback(ConnectorCallback* function, void* context, uint32_t mode) = 0;  // 13
    /// Ends delivery; when it returns, no callback runs. Not from inside a callback. `mode` is 1.
    virtual uint32_t stopReceiving(uint32_t mode) = 0;  // 14
    virtual void reserved15() = 0;                      // 15
    virtual void reserved16() = 0;                      // 16
    /// Sends to every connected client without waiting for any. `target` is kEveryClient. Of a server end.
    virtual uint32_t broadcast(uint32_t id, const void* data, uint32_t sizeBytes, uint64_t reserved1,
                               uint64_t reserved2, uint32_t target) = 0;  // 17
};

/// Answered for by plug-in "connserver".
struct IConnectorServer : IVxBaseInterface {
    static constexpr Identifier kIdentifier = {
        0x17450ed3, 0x67dc, 0x8b4d, {0xaa, 0x41, 0x03, 0x65, 0xd6, 0x2b, 0x87, 0xea}};

    /// Makes the server end of a pipe; null on failure.
    virtual ConnectorEndpoint* registerPipe(const wchar_t* pipeName, const wchar_t* commonPipeName) = 0;  // 1
    /// Ends it: its clients are disconnected, no callback runs when it returns. Null is accepted.
    virtual void unregisterPipe(ConnectorEndpoint* endpoint) = 0;  // 2
};

/// Object "connclient" of connector.dll, and a plug-in of that name.
struct IConnectorClient : IServPlugin {
    static constexpr Identifier kIdentifier = {
        0xe2a280dc, 0x3b17, 0x914f, {0x52, 0x4c, 0x68, 0x27, 0xae, 0x9f, 0xf7, 0xa5}};

    virtual void reserved5() = 0;  // 5
    /// Connects to the server end of a pipe, waiting up to `timeoutMs` for one; null on failure, with the
    /// reason as the thread's last error.
    virtual ConnectorEndpoint* connectPipe(const wchar_t* pipeName, uint64_t reserved,
                                           const wchar_t* commonPipeName, uint32_t timeoutMs) = 0;  // 6
    /// Ends it; calls that wait in it return an error. Null is accepted.
    virtual void disconnectPipe(ConnectorEndpoint* endpoint) = 0;  // 7
};
