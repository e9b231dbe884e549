#pragma once

#include <functional>
#include <list>
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

    /// As if it came from the other end; ~0 when nobody receives.
    uint32_t Deliver(uint32_t id, const std::string& payload, uint32_t flags = 0) const {
        std::vector<ConnectorMessage> record(2 + payload.size() / sizeof(ConnectorMessage));
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
};

/// Both plug-ins of the connector: one server end, and the client ends that connected to it.
struct FakeConnector {
    struct Server final : IConnectorServer {
        void* QueryInterface(const Identifier* iid) override { return *iid == kIdentifier ? this : nullptr; }
        ConnectorEndpoint* registerPipe(const wchar_t* name, const wchar_t*) override {
            return ++open, asked = name, &end;
        }
        void unregisterPipe(ConnectorEndpoint*) override { --open; }

        FakeEndpoint end;
        std::wstring asked;
        int open = 0;
    } server;

    struct Client final : IConnectorClient {
        void* QueryInterface(const Identifier* iid) override { return *iid == kIdentifier ? this : nullptr; }
        uint32_t Init(IServMain*) override { return 0; }
        void UnInit() override {}
        uint32_t Start() override { return 0; }
        uint32_t Stop() override { return 0; }
        void reserved5() override {}
        ConnectorEndpoint* connectPipe(const wchar_t* name, uint64_t mode, const wchar_t* commonName,
                                       uint32_t timeoutMs) override {
            asked = std::wstring(name) + L" " + std::to_wstring(mode) + L" " + commonName + L" " +
                    std::to_wstring(timeoutMs);
            return refuses ? nullptr : (++open, &ends.emplace_back());
        }
        void disconnectPipe(ConnectorEndpoint*) override { --open; }

        std::list<FakeEndpoint> ends;
        std::wstring asked;
        bool refuses = false;
        int open = 0;
    } client;

    /// Joins what has connected so far.
    void Join() {
        using Sent = FakeEndpoint::Sent;
        for (FakeEndpoint& end : client.ends)
            end.forward = [this](const Sent& sent) { server.end.Deliver(sent.id, sent.payload); };
        server.end.forward = [this](const Sent& sent) {
            for (const FakeEndpoint& end : client.ends)
                end.Deliver(sent.id, sent.payload);
        };
    }
};

}  // namespace test_support
