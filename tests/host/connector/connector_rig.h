// Both components of connector.dll on a pipe of the test's own, and a client that writes its frames by hand.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <windows.h>

#include "border/connector.h"
#include "connector/wire_frame.h"
#include "frame/exported_object.h"
#include "frame/handles.h"
#include "frame/module_path.h"

namespace connector_test {

using Bytes = std::vector<uint8_t>;

/// What a receive function was given. Its callback form is Receive with the object as the context.
class Inbox {
public:
    struct Message {
        ConnectorMessage record;
        Bytes payload;
    };
    /// Runs inside the receive function, before the message counts as received.
    std::function<void(const ConnectorMessage*)> react;

    static uint32_t Receive(void* context, const ConnectorMessage* message) {
        auto* const self = static_cast<Inbox*>(context);
        if (self->react) self->react(message);
        const auto* const bytes = static_cast<const uint8_t*>(PayloadOf(message));
        const std::lock_guard guard(self->m_lock);
        self->m_messages.push_back({*message, Bytes(bytes, bytes + message->sizeBytes)});
        self->m_came.notify_all();
        return 31;  // a result means nothing
    }

    bool WaitFor(size_t count) {
        std::unique_lock lock(m_lock);
        return m_came.wait_for(lock, std::chrono::seconds(20), [&] { return m_messages.size() >= count; });
    }
    std::vector<Message> Messages() {
        const std::lock_guard guard(m_lock);
        return m_messages;
    }

private:
    std::mutex m_lock;
    std::condition_variable m_came;
    std::vector<Message> m_messages;
};

/// A server end under a name that nobody else uses, and the clients of it. Made after the inboxes, which then
/// outlive its threads.
class Rig {
public:
    Rig() {
        static uint32_t number = 0;
        name = L"connector_test_" + std::to_wstring(GetCurrentProcessId()) + L"_" + std::to_wstring(++number);
        const std::wstring library = optimizer::GetModuleFolder() + L"connector.dll";
        EXPECT_EQ(servers.Load(library, L"connserver"), 0u);
        EXPECT_EQ(clients.Load(library, L"connclient"), 0u);
        server = Register();
        EXPECT_NE(server, nullptr);
    }

    ConnectorEndpoint* Register() const { return servers.Get()->registerPipe(name.c_str(), kCommonPipeName); }
    void Unregister() {
        servers.Get()->unregisterPipe(server);  // receive functions in flight still use it
        server = nullptr;
    }
    ConnectorEndpoint* Connect(uint32_t timeoutMs = 10000) const {
        return clients.Get()->connectPipe(name.c_str(), 0, kCommonPipeName, timeoutMs);
    }
    ConnectorEndpoint* Connect(Inbox& inbox) const {
        ConnectorEndpoint* const client = Connect();
        EXPECT_NE(client, nullptr);
        client->setCallback(&Inbox::Receive, &inbox, 1);
        return client;
    }
    void Serve(Inbox& inbox) const { server->setCallback(&Inbox::Receive, &inbox, 1); }
    /// Every request gets its payload back.
    void Echo(Inbox& inbox) const {
        inbox.react = [this](const ConnectorMessage* message) {
            server->replyData(message, message->id, PayloadOf(message), message->sizeBytes);
        };
        Serve(inbox);
    }
    static bool IsEchoed(ConnectorEndpoint* client, const Bytes& payload) {
        ConnectorResponse* response = nullptr;
        const auto sizeBytes = static_cast<uint32_t>(payload.size());
        if (client->sendMessage(7, payload.data(), sizeBytes, &response, 0, 20000) != 0) return false;
        const auto* const data = static_cast<const uint8_t*>(response->data);
        const bool same = response->status == 0 && Bytes(data, data + response->sizeBytes) == payload;
        client->freeResponse(response);
        return same;
    }

    std::wstring name;
    optimizer::ExportedObject<IConnectorServer> servers;
    optimizer::ExportedObject<IConnectorClient> clients;
    ConnectorEndpoint* server = nullptr;
};

/// A client of which the connector's own code has no part.
class RawClient {
public:
    explicit RawClient(const Rig& rig) {
        const std::wstring path = LR"(\\.\pipe\)" + rig.name;
        for (int attempt = 0; attempt < 100 && !pipe; ++attempt) {
            pipe.Reset(CreateFileW(path.c_str(), GENERIC_READ | FILE_WRITE_DATA | FILE_WRITE_ATTRIBUTES, 0,
                                   nullptr, OPEN_EXISTING, 0, nullptr));
            if (!pipe) WaitNamedPipeW(path.c_str(), 100);
        }
        DWORD mode = PIPE_READMODE_MESSAGE;
        EXPECT_TRUE(SetNamedPipeHandleState(pipe.Get(), &mode, nullptr, nullptr));
        EXPECT_EQ(Read(), FrameOf({.kind = host::FrameKind::Reply, .call = host::kWelcomeCall}, {}));
    }

    static Bytes FrameOf(const host::FrameHeader& header, const Bytes& payload) {
        Bytes frame(sizeof(header));
        std::memcpy(frame.data(), &header, sizeof(header));
        frame.insert(frame.end(), payload.begin(), payload.end());
        return frame;
    }
    void Write(const Bytes& bytes) const {
        DWORD written = 0;
        WriteFile(pipe.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    }
    /// The next message; empty when the server has ended the connection.
    Bytes Read() const {
        Bytes bytes(4096);
        DWORD read = 0;
        if (!ReadFile(pipe.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr)) read = 0;
        bytes.resize(read);
        return bytes;
    }

    optimizer::FileHandle pipe;
};

}  // namespace connector_test
