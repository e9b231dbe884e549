#pragma once

#include <functional>
#include <string>
#include <vector>

#include "border/connector.h"

namespace test_support {

/// One end of a pipe in memory. What is sent is noted and reaches the other end's receive function at once,
/// on the sender's thread. Waiting requests aren't simulated.
struct FakeEndpoint : ConnectorEndpoint {
    struct Sent {
        uint32_t id;
        std::string payload;
        uint32_t target;
    };

    void reserved0() override {}
    void reserved1() override {}
    uint32_t sendMessage(uint32_t, const void*, uint32_t, ConnectorResponse**, uint64_t, uint32_t) override {
        return ~0U;
    }
    void reserved3() override {}
    void reserved4() override {}
    uint32_t postMessage(uint32_t id, const void* data, uint32_t sizeBytes, uint32_t target) override {
        const Sent message = {id, std::string(static_cast<const char*>(data), sizeBytes), target};
        sent.push_back(message);
        forward(message);
        return sendResult;
    }
    void reserved6() override {}
    uint32_t replyStatus(const ConnectorMessage*, uint32_t status) override {
        return replies.push_back(status), 0;
    }
    uint32_t replyData(const ConnectorMessage*, uint32_t, const void*, uint32_t) override { return ~0U; }
    void reserved9() override {}
    void freeResponse(ConnectorResponse*) override {}
    void reserved11() override {}
    void reserved12() override {}
    uint32_t setCallback(ConnectorCallback* function, void* context, uint32_t) override {
        receive = [=](const ConnectorMessage* message) { return function(context, message); };
        return ++callbacksSet, 0;
    }
    uint32_t stopReceiving(uint32_t) override { return receive = nullptr, 0; }
    void reserved15() override {}
    void reserved16() override {}
    uint32_t broadcast(uint32_t id, const void* data, uint32_t sizeBytes, uint64_t, uint64_t,
                       uint32_t target) override {
        return postMessage(id, data, sizeBytes, target);
    }

    /// As if it came from the other end; ~0 when nobody receives. Clients are numbered from 1.
    uint32_t Deliver(uint32_t id, const std::string& payload, uint32_t flags = 0, uint32_t sender = 1) const {
        std::vector<ConnectorMessage> record(2 + payload.size() / sizeof(ConnectorMessage));
        record[0].senderId = sender;
        record[0].id = id;
        record[0].flags = flags;
        record[0].sizeBytes = static_cast<uint32_t>(payload.size());
        payload.copy(reinterpret_cast<char*>(&record[1]), payload.size());
        return receive ? receive(record.data()) : ~0U;
    }

    std::function<uint32_t(const ConnectorMessage*)> receive;
    std::function<void(const Sent&)> forward = [](const Sent&) {};
    std::vector<Sent> sent;
    std::vector<uint32_t> replies;
    uint32_t sendResult = 0;
    int callbacksSet = 0;
    uint32_t session = 0;  // of a client end
    bool connected = true;
};

}  // namespace test_support
