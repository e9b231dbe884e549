#pragma once

#include <functional>
#include <list>
#include <map>
#include <string>
#include <vector>

#include "border/connector.h"

namespace test_support {

/// One end of a pipe in memory. What is sent is noted, and reaches the other end's receive function at once,
/// on the sender's thread.
struct FakeEndpoint : ConnectorEndpoint {
    struct Sent {
        uint32_t id;
        std::string payload;
        uint32_t target;
    };

    void reserved0() override {}
    void reserved1() override {}
    uint32_t sendMessage(uint32_t id, const void* data, uint32_t sizeBytes, ConnectorResponse**, uint64_t,
                         uint32_t) override {
        return _Send(id, data, sizeBytes, 0, ConnectorMessage::kSenderWaits);
    }
    void reserved3() override {}
    void reserved4() override {}
    uint32_t postMessage(uint32_t id, const void* data, uint32_t sizeBytes, uint32_t target) override {
        return _Send(id, data, sizeBytes, target, 0);
    }
    void reserved6() override {}
    uint32_t replyStatus(const ConnectorMessage*, uint32_t status) override {
        return replies.push_back(status), 0;
    }
    uint32_t replyData(const ConnectorMessage*, uint32_t, const void*, uint32_t) override { return 0; }
    void reserved9() override {}
    void freeResponse(ConnectorResponse*) override {}
    void reserved11() override {}
    void reserved12() override {}
    uint32_t setCallback(ConnectorCallback* function, void* context, uint32_t) override {
        ++callbacksSet;
        receive = [=](const ConnectorMessage* message) { return function(context, message); };
        return 0;
    }
    uint32_t stopReceiving(uint32_t) override { return receive = nullptr, 0; }
    void reserved15() override {}
    void reserved16() override {}
    uint32_t broadcast(uint32_t id, const void* data, uint32_t sizeBytes, uint64_t, uint64_t,
                       uint32_t target) override {
        return _Send(id, data, sizeBytes, target, 0);
    }

    /// As if it came from the other end; ~0 when nobody receives.
    uint32_t Deliver(uint32_t id, const std::string& payload, uint32_t flags = 0) {
        std::vector<ConnectorMessage> record(1 + payload.size() / sizeof(ConnectorMessage) + 1);
        record[0].id = id;
        record[0].flags = flags;
        record[0].sizeBytes = static_cast<uint32_t>(payload.size());
        payload.copy(reinterpret_cast<char*>(&record[1]), payload.size());
        return receive ? receive(record.data()) : ~0U;
    }

    std::function<uint32_t(const ConnectorMessage*)> receive;
    std::function<void(const Sent&, uint32_t flags)> forward = [](const Sent&, uint32_t) {};
    std::vector<Sent> sent;
    std::vector<uint32_t> replies;
    uint32_t sendResult = 0;
    int callbacksSet = 0;

private:
    uint32_t _Send(uint32_t id, const void* data, uint32_t sizeBytes, uint32_t target, uint32_t flags) {
        sent.push_back({id, std::string(static_cast<const char*>(data), sizeBytes), target});
        const Sent copy = sent.back();  // what is received may send in turn
        forward(copy, flags);
        return sendResult;
    }
};

/// Both plug-ins of the connector, over pipes in memory.
struct FakeConnector {
    struct Server final : IConnectorServer {
        void* QueryInterface(const Identifier* iid) override { return *iid == kIdentifier ? this : nullptr; }
        ConnectorEndpoint* registerPipe(const wchar_t* pipeName, const wchar_t*) override {
            return refuses ? nullptr : (++open, name = pipeName, &end);
        }
        void unregisterPipe(ConnectorEndpoint*) override { --open; }

        FakeEndpoint end;
        std::wstring name;
        bool refuses = false;
        int open = 0;
    };

    struct Client final : IConnectorClient {
        void* QueryInterface(const Identifier* iid) override { return *iid == kIdentifier ? this : nullptr; }
        uint32_t Init(IServMain*) override { return 0; }
        void UnInit() override {}
        uint32_t Start() override { return 0; }
        uint32_t Stop() override { return 0; }
        void reserved5() override {}
        ConnectorEndpoint* connectPipe(const wchar_t* pipeName, uint64_t mode, const wchar_t* commonName,
                                       uint32_t timeoutMs) override {
            asked = std::wstring(pipeName) + L" " + std::to_wstring(mode) + L" " + commonName + L" " +
                    std::to_wstring(timeoutMs);
            if (refuses) return nullptr;
            ends.emplace_back().forward = [this](const FakeEndpoint::Sent& sent, uint32_t flags) {
                server->end.Deliver(sent.id, sent.payload, flags);
            };
            ++open;
            return &ends.back();
        }
        void disconnectPipe(ConnectorEndpoint*) override { --open; }

        Server* server = nullptr;
        std::list<FakeEndpoint> ends;  // one for each connection
        std::wstring asked;
        bool refuses = false;
        int open = 0;
    };

    FakeConnector() {
        client.server = &server;
        server.end.forward = [this](const FakeEndpoint::Sent& sent, uint32_t flags) {
            for (FakeEndpoint& end : client.ends)
                end.Deliver(sent.id, sent.payload, flags);
        };
    }

    Server server;
    Client client;
};

}  // namespace test_support
