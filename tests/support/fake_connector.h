#pragma once

#include <algorithm>
#include <iterator>
#include <list>
#include <string>

#include <windows.h>

#include "border/client_watch.h"
#include "tests/support/fake_endpoint.h"

namespace test_support {

/// Both plug-ins of the connector: one server end, and the client ends that connected to it.
struct FakeConnector {
    struct Server final : IConnectorServer {
        void* QueryInterface(const Identifier* iid) override {
            if (*iid == IClientWatch::kIdentifier) return watch;
            return *iid == kIdentifier ? this : nullptr;
        }
        ConnectorEndpoint* registerPipe(const wchar_t* name, const wchar_t*) override {
            return ++open, asked = name, &end;
        }
        void unregisterPipe(ConnectorEndpoint*) override { --open; }

        FakeEndpoint end;
        IClientWatch* watch = nullptr;
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
            if (refuses) return nullptr;
            ends.emplace_back().session = session;
            return ++open, &ends.back();
        }
        void disconnectPipe(ConnectorEndpoint* end) override {
            static_cast<FakeEndpoint*>(end)->connected = false;
            --open;
        }

        std::list<FakeEndpoint> ends;
        std::wstring asked;
        uint32_t session = WTSGetActiveConsoleSessionId();  // of the next one
        bool refuses = false;
        int open = 0;
    } client;

    struct Watch final : IClientWatch {
        explicit Watch(const std::list<FakeEndpoint>& ends) : clients(ends) {}
        void* QueryInterface(const Identifier*) override { return nullptr; }
        uint32_t CountClients(ConnectorEndpoint*, uint32_t session) override {
            return static_cast<uint32_t>(std::count_if(clients.begin(), clients.end(), [=](const auto& each) {
                return each.connected && each.session == session;
            }));
        }
        uint32_t SessionOf(ConnectorEndpoint*, uint32_t sender) override {
            if (sender == 0 || sender > clients.size()) return kNoSession;
            return std::next(clients.begin(), sender - 1)->session;
        }
        uint32_t PostToSession(ConnectorEndpoint* end, uint32_t session, uint32_t id, const void* data,
                               uint32_t sizeBytes) override {
            const std::string payload(static_cast<const char*>(data), sizeBytes);
            static_cast<FakeEndpoint*>(end)->sent.push_back({id, payload, session});
            for (const FakeEndpoint& client : clients) {
                if (client.session == session) client.Deliver(id, payload);
            }
            return static_cast<FakeEndpoint*>(end)->sendResult;
        }

        const std::list<FakeEndpoint>& clients;
    } watch{client.ends};

    FakeConnector() { server.watch = &watch; }
    FakeConnector(const FakeConnector&) = delete;
    FakeConnector& operator=(const FakeConnector&) = delete;

    /// Joins what has connected so far.
    void Join() {
        using Sent = FakeEndpoint::Sent;
        uint32_t number = 0;
        for (FakeEndpoint& end : client.ends) {
            end.forward = [this, sender = ++number](const Sent& sent) {
                server.end.Deliver(sent.id, sent.payload, 0, sender);
            };
        }
        server.end.forward = [this](const Sent& sent) {
            for (const FakeEndpoint& end : client.ends)
                end.Deliver(sent.id, sent.payload);
        };
    }
};

}  // namespace test_support
