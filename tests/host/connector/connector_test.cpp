// Messages between both ends of a pipe, through the components as the suite loads them.
#include <cstring>
#include <thread>

#include "border/client_watch.h"
#include "tests/host/connector/connector_rig.h"

namespace connector_test {
namespace {

uint32_t At(const void* record, size_t offset) {
    uint32_t value = 0;
    std::memcpy(&value, static_cast<const uint8_t*>(record) + offset, sizeof(value));
    return value;
}

TEST(Connector, ComponentsAnswerForTheirInterfaces) {
    Rig rig;
    for (const Identifier& iid : {IVxBaseInterface::kIdentifier, IServPlugin::kIdentifier,
                                  IConnectorServer::kIdentifier, IClientWatch::kIdentifier}) {
        EXPECT_NE(rig.servers.QueryInterface(&iid), nullptr);
        EXPECT_NE(rig.servers.Get()->QueryInterface(&iid), nullptr);
    }
    EXPECT_EQ(rig.servers.QueryInterface(&IServPlugin::kIdentifier),
              rig.servers.Get()->QueryInterface(&IServPlugin::kIdentifier));
    EXPECT_EQ(rig.servers.Get()->QueryInterface(&IConnectorClient::kIdentifier), nullptr);
    EXPECT_EQ(rig.clients.Get(), rig.clients.QueryInterface(&IServPlugin::kIdentifier));
}

TEST(Connector, RequestsOfEverySizeComeBackWhole) {
    Inbox inbox;
    Rig rig;
    ConnectorEndpoint* const client = rig.Connect();
    ASSERT_NE(client, nullptr) << "a client may come before the receive function";
    rig.Echo(inbox);
    // Around what one read takes in, beyond what the pipe buffers, and the most there is.
    for (const uint32_t sizeBytes : {0u, 1u, 4096u, 8192u - 32, 8192u - 31, 256u * 1024, 1024u * 1024}) {
        Bytes payload(sizeBytes);
        for (size_t i = 0; i < payload.size(); ++i)
            payload[i] = static_cast<uint8_t>(i * 31 + i / 251);
        EXPECT_TRUE(Rig::IsEchoed(client, payload)) << sizeBytes;
    }
    const Bytes tooLarge(1024 * 1024 + 1);
    EXPECT_EQ(client->postMessage(1, tooLarge.data(), static_cast<uint32_t>(tooLarge.size()), 0), 87u);
    EXPECT_EQ(rig.server->broadcast(1, nullptr, 4, 0, 0, kEveryClient), 87u);
    EXPECT_TRUE(Rig::IsEchoed(client, {1}));
}

TEST(Connector, RecordsLieAsBothSidesReachIntoThem) {
    Inbox inbox;
    Rig rig;
    inbox.react = [&](const ConnectorMessage* message) {
        if (message->id == 5) {
            EXPECT_EQ(rig.server->replyStatus(message, 1168), 0u);
        }
        // Only the first answer to a message counts.
        EXPECT_EQ(rig.server->replyData(message, message->id, "data", 4), message->id == 6 ? 0u : 1168u);
    };
    rig.Serve(inbox);
    ConnectorEndpoint* const client = rig.Connect();

    ConnectorResponse* failure = nullptr;
    ASSERT_EQ(client->sendMessage(5, "abc", 3, &failure, 0, 10000), 0u);
    EXPECT_EQ(At(failure, 4), 1168u);
    EXPECT_EQ(At(failure, 8), 4u);
    EXPECT_EQ(At(failure->data, 0), 1168u);
    ConnectorResponse* response = nullptr;
    ASSERT_EQ(client->sendMessage(6, nullptr, 0, &response, 0, 10000), 0u);
    EXPECT_EQ(At(response, 4), 0u);
    EXPECT_EQ(At(response, 8), 4u);
    EXPECT_EQ(std::memcmp(response->data, "data", 4), 0);
    client->freeResponse(response);
    client->freeResponse(nullptr);
    EXPECT_EQ(failure->status, 1168u) << "nobody frees it but the endpoint";

    EXPECT_EQ(client->postMessage(9, "post", 4, 0), 0u);
    ASSERT_TRUE(inbox.WaitFor(3));
    const auto messages = inbox.Messages();
    const void* const request = &messages[0].record;
    EXPECT_NE(At(request, 0), 0u);
    EXPECT_EQ(At(request, 12), 5u);
    EXPECT_EQ(At(request, 20), 1u);
    EXPECT_EQ(At(request, 28), 3u);
    EXPECT_EQ(messages[0].payload, Bytes({'a', 'b', 'c'}));
    EXPECT_EQ(At(&messages[2].record, 0), At(request, 0));
    EXPECT_EQ(At(&messages[2].record, 20), 0u) << "a post isn't answered";
}

TEST(Connector, ClientsAreCountedAndSendersKnownByTheirSession) {
    DWORD own = 0;
    ASSERT_TRUE(ProcessIdToSessionId(GetCurrentProcessId(), &own));
    Inbox inbox;
    Rig rig;
    auto* const watch = static_cast<IClientWatch*>(rig.servers.QueryInterface(&IClientWatch::kIdentifier));
    EXPECT_EQ(watch->CountClients(rig.server, own), 0u);
    ConnectorEndpoint* const first = rig.Connect();
    Inbox told;
    ConnectorEndpoint* const second = rig.Connect(told);
    EXPECT_EQ(watch->PostToSession(rig.server, own + 1, 7, nullptr, 0), 0u);
    EXPECT_EQ(watch->PostToSession(rig.server, own, 8, nullptr, 0), 0u);
    ASSERT_TRUE(told.WaitFor(1));
    EXPECT_EQ(told.Messages()[0].record.id, 8u) << "what is for another session would have come first";
    EXPECT_EQ(watch->PostToSession(rig.server, own, 8, nullptr, 4), 87u);
    EXPECT_EQ(watch->PostToSession(nullptr, own, 8, nullptr, 0), 87u);
    EXPECT_EQ(watch->CountClients(rig.server, own), 2u) << "also before anybody receives";
    EXPECT_EQ(watch->CountClients(rig.server, own + 1), 0u);
    uint32_t inside = IClientWatch::kNoSession;
    inbox.react = [&](const ConnectorMessage* message) {
        inside = watch->SessionOf(rig.server, message->senderId);
    };
    rig.Serve(inbox);
    EXPECT_EQ(first->postMessage(1, nullptr, 0, 0), 0u);
    ASSERT_TRUE(inbox.WaitFor(1));
    EXPECT_EQ(inside, own);
    const uint32_t sender = inbox.Messages()[0].record.senderId;
    rig.clients.Get()->disconnectPipe(first);
    // The server sees the end on a thread of its own.
    while (watch->SessionOf(rig.server, sender) != IClientWatch::kNoSession)
        SwitchToThread();
    EXPECT_EQ(watch->CountClients(rig.server, own), 1u);
    rig.clients.Get()->disconnectPipe(second);
    EXPECT_EQ(watch->SessionOf(nullptr, sender) - watch->CountClients(nullptr, own),
              uint32_t{IClientWatch::kNoSession});
}

TEST(Connector, EventsArriveInOrderAlsoThoseBeforeTheReceiveFunction) {
    constexpr uint32_t kEvents = 300;
    Inbox serverBox;
    Inbox early;
    Inbox late;
    Rig rig;
    rig.Serve(serverBox);
    rig.Connect(early);
    ConnectorEndpoint* const lateClient = rig.Connect();
    // Together more than the pipe buffers.
    for (uint32_t id = 0; id < kEvents; ++id)
        EXPECT_EQ(rig.server->broadcast(id, Bytes(1000).data(), 1000, 0, 0, kEveryClient), 0u);
    lateClient->setCallback(&Inbox::Receive, &late, 1);
    for (Inbox* const inbox : {&early, &late}) {
        ASSERT_TRUE(inbox->WaitFor(kEvents));
        const auto messages = inbox->Messages();
        for (uint32_t i = 0; i < kEvents; ++i)
            ASSERT_EQ(messages[i].record.id, i);
    }
}

TEST(Connector, ReceiveFunctionMaySendAndOneClientsWaitIsNotAnothers) {
    Inbox serverBox;
    Inbox events;
    Rig rig;
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    serverBox.react = [&](const ConnectorMessage* message) {
        if (message->id == 1) released.wait_for(std::chrono::seconds(20));
        rig.server->postMessage(100 + message->id, nullptr, 0, message->senderId);
        rig.server->broadcast(200, nullptr, 0, 0, 0, kEveryClient);
        rig.server->replyStatus(message, 0);
    };
    rig.Serve(serverBox);
    ConnectorEndpoint* const slow = rig.Connect();
    ConnectorEndpoint* const quick = rig.Connect(events);
    ASSERT_EQ(slow->postMessage(1, nullptr, 0, 0), 0u);
    ConnectorResponse* response = nullptr;
    EXPECT_EQ(quick->sendMessage(2, nullptr, 0, &response, 0, 10000), 0u);
    quick->freeResponse(response);
    ASSERT_TRUE(events.WaitFor(2));
    EXPECT_EQ(events.Messages()[0].record.id, 102u);
    EXPECT_EQ(events.Messages()[1].record.id, 200u);
    release.set_value();
    ASSERT_TRUE(serverBox.WaitFor(2));
    const uint32_t gone = serverBox.Messages()[0].record.senderId;
    rig.clients.Get()->disconnectPipe(quick);
    // The server sees the end on a thread of its own.
    while (rig.server->postMessage(1, nullptr, 0, gone) == 0)
        SwitchToThread();
    EXPECT_EQ(rig.server->postMessage(1, nullptr, 0, 0xFFFFFFFE), 1168u);
}

TEST(Connector, CallerGivesUpAndTheLateReplyIsDropped) {
    Inbox inbox;
    Rig rig;
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    inbox.react = [&](const ConnectorMessage* message) {
        if (message->id == 1) released.wait_for(std::chrono::seconds(20));
        rig.server->replyStatus(message, message->id);
    };
    rig.Serve(inbox);
    ConnectorEndpoint* const client = rig.Connect();
    ConnectorResponse* response = nullptr;
    EXPECT_EQ(client->sendMessage(1, nullptr, 0, &response, 0, 30), DWORD{WAIT_TIMEOUT});
    EXPECT_EQ(response, nullptr);
    release.set_value();
    ASSERT_EQ(client->sendMessage(2, nullptr, 0, &response, 0, 10000), 0u);
    EXPECT_EQ(response->status, 2u) << "the reply to the earlier call isn't this one's";
}

}  // namespace
}  // namespace connector_test
