// What goes wrong on a pipe: bad frames, clients that don't read, ends that go away, names that are taken.
#include <algorithm>
#include <atomic>
#include <memory>
#include <random>
#include <thread>

#include <sddl.h>

#include "connector/client_origin.h"
#include "connector/rare_lines.h"
#include "connector/send_budget.h"
#include "frame/text.h"
#include "tests/host/connector/connector_rig.h"

namespace connector_test {
namespace {

using host::FrameHeader;
using host::FrameKind;

DWORD Handles() {
    DWORD count = 0;
    EXPECT_TRUE(GetProcessHandleCount(GetCurrentProcess(), &count));
    return count;
}

TEST(ConnectorFaults, BadFrameEndsItsSenderAndNobodyElse) {
    Inbox inbox;
    Rig rig;
    rig.Echo(inbox);
    ConnectorEndpoint* const bystander = rig.Connect();
    const Bytes payload(8);
    const auto broken = [&](auto change) {
        FrameHeader header{.kind = FrameKind::Request, .call = 5, .id = 7, .sizeBytes = 8};
        change(header);
        return RawClient::FrameOf(header, payload);
    };
    const Bytes good = broken([](FrameHeader&) {});
    const std::pair<const char*, Bytes> frames[] = {
        {"empty", {}},
        {"half a header", Bytes(good.begin(), good.begin() + 16)},
        {"wrong magic", broken([](FrameHeader& h) { h.magic ^= 1; })},
        {"wrong version", broken([](FrameHeader& h) { h.version = 2; })},
        {"unknown kind", broken([](FrameHeader& h) { h.kind = FrameKind{4}; })},
        {"a reply to a server", broken([](FrameHeader& h) { h.kind = FrameKind::Reply; })},
        {"a request without a number", broken([](FrameHeader& h) { h.call = 0; })},
        {"a reserved field", broken([](FrameHeader& h) { h.reserved[1] = 1; })},
        {"longer than it says", broken([](FrameHeader& h) { h.sizeBytes = 7; })},
        {"shorter than it says", broken([](FrameHeader& h) { h.sizeBytes = 9; })},
        {"more than there may be", broken([](FrameHeader& h) { h.sizeBytes = 1024 * 1024 + 1; })},
        {"beyond all bounds", broken([](FrameHeader& h) { h.sizeBytes = 0xFFFFFFFF; })},
        {"false in a second read", RawClient::FrameOf({.sizeBytes = 100000}, Bytes(90000))},
    };
    for (const auto& [what, frame] : frames) {
        SCOPED_TRACE(what);
        const RawClient client(rig);
        client.Write(good);
        const Bytes answer =
            RawClient::FrameOf({.kind = FrameKind::Reply, .call = 5, .id = 7, .sizeBytes = 8}, payload);
        EXPECT_EQ(client.Read(), answer);
        client.Write(frame);
        EXPECT_EQ(client.Read(), Bytes());
        EXPECT_TRUE(Rig::IsEchoed(bystander, {1, 2, 3}));
    }

    std::mt19937 random(1);  // the same frames in every run
    for (int round = 0; round < 100; ++round) {
        const RawClient client(rig);
        Bytes frame = good;
        for (uint32_t changes = 1 + random() % 3; changes > 0; --changes)
            frame[random() % frame.size()] = static_cast<uint8_t>(random());
        client.Write(frame);
    }
    EXPECT_TRUE(Rig::IsEchoed(bystander, {4}));
}

TEST(ConnectorFaults, ClientThatNeverReadsIsDroppedAndTheOthersHearEverything) {
    constexpr uint32_t kEvents = 200;
    Inbox serverBox;
    Inbox events;
    Rig rig;
    rig.Serve(serverBox);
    ConnectorEndpoint* const reader = rig.Connect(events);
    const RawClient silent(rig);
    const Bytes payload(65536);
    for (uint32_t id = 0; id < kEvents; ++id) {
        EXPECT_EQ(rig.server->broadcast(id, payload.data(), 65536, 0, 0, kEveryClient), 0u);
        if (id % 16 == 0) {
            ASSERT_TRUE(events.WaitFor(id + 1));  // the one that reads isn't far behind
        }
    }
    ASSERT_TRUE(events.WaitFor(kEvents));
    const auto messages = events.Messages();
    for (uint32_t id = 0; id < kEvents; ++id)
        ASSERT_EQ(messages[id].record.id, id);
    EXPECT_EQ(reader->postMessage(1, nullptr, 0, 0), 0u);
    size_t frames = 0;
    while (!silent.Read().empty())
        ++frames;
    EXPECT_LT(frames, kEvents);
}

TEST(ConnectorFaults, NameIsServedOnceAndFreeAfterwards) {
    Inbox inbox;
    Rig rig;
    rig.Echo(inbox);
    ConnectorEndpoint* const client = rig.Connect();
    EXPECT_EQ(rig.Register(), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_TRUE(Rig::IsEchoed(client, {1}));
    rig.Unregister();
    rig.server = rig.Register();  // while the old client still holds its end
    ASSERT_NE(rig.server, nullptr);
    rig.Unregister();
    EXPECT_EQ(rig.Connect(50), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(rig.servers.Get()->registerPipe(L"", kCommonPipeName), nullptr);
    EXPECT_EQ(rig.servers.Get()->registerPipe(nullptr, nullptr), nullptr);
}

TEST(ConnectorFaults, ClientsSayNothingToAPipeOfAnotherAccount) {
    const Rig rig;
    const std::wstring path = LR"(\\.\pipe\)" + rig.name + L"_squatted";
    const std::wstring name = rig.name + L"_squatted";
    // Each owner is told with the access list that lets everybody in.
    const std::pair<const wchar_t*, DWORD> owners[] = {{L"O:BA", ERROR_SUCCESS},
                                                       {L"O:SY", ERROR_SUCCESS},
                                                       {L"O:WD", ERROR_INVALID_OWNER},
                                                       {L"O:S-1-5-21-1-2-3-1001", ERROR_INVALID_OWNER}};
    for (const auto& [owner, expected] : owners) {
        SCOPED_TRACE(optimizer::Narrow(owner));
        optimizer::LocalMemory descriptor;
        ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(
            (owner + std::wstring(L"D:(A;;GA;;;WD)")).c_str(), SDDL_REVISION_1, descriptor.Receive(),
            nullptr));
        SECURITY_ATTRIBUTES security = {sizeof(security), descriptor.Get(), FALSE};
        const optimizer::FileHandle pipe(CreateNamedPipeW(path.c_str(), PIPE_ACCESS_DUPLEX,
                                                          PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE, 1, 4096,
                                                          4096, 0, &security));
        ASSERT_TRUE(pipe);
        EXPECT_EQ(rig.clients.Get()->connectPipe(name.c_str(), 0, kCommonPipeName, 50), nullptr);
        EXPECT_EQ(GetLastError(), expected == ERROR_SUCCESS ? DWORD{WAIT_TIMEOUT} : expected);
    }
}

TEST(ConnectorFaults, PlacesAreForAccountsAndSessionsAndSomeAreKept) {
    using host::ClientOrigin;
    const auto filled = [](std::initializer_list<std::pair<ClientOrigin, size_t>> groups) {
        std::vector<ClientOrigin> present;
        for (const auto& [origin, count] : groups)
            present.insert(present.end(), count, origin);
        return present;
    };
    const ClientOrigin ann = {L"ann", 1, false};
    const ClientOrigin annElsewhere = {L"ann", 2, false};
    const ClientOrigin bob = {L"bob", 1, false};
    const ClientOrigin carl = {L"carl", 3, false};
    const ClientOrigin root = {L"root", 1, true};
    const auto has = [](const ClientOrigin& comer, const std::vector<ClientOrigin>& present) {
        return host::HasPlace(comer, present);
    };
    EXPECT_TRUE(has(ann, filled({{ann, 79}})));
    EXPECT_FALSE(has(ann, filled({{ann, 80}})));
    EXPECT_FALSE(has(ann, filled({{ann, 1}, {annElsewhere, 79}}))) << "one account in two sessions";
    EXPECT_FALSE(has(bob, filled({{ann, 79}, {bob, 1}}))) << "two accounts in one session";
    EXPECT_TRUE(has(bob, filled({{ann, 80}}))) << "the first of an account in a session";
    EXPECT_TRUE(has(root, filled({{ann, 80}, {bob, 79}, {root, 1}})));
    EXPECT_FALSE(has(root, filled({{root, 80}})));
    const auto crowd = [](size_t count) {
        std::vector<ClientOrigin> present;
        for (uint32_t i = 0; i < count; ++i)
            present.push_back({std::to_wstring(i / 2), 100 + i / 2, false});
        return present;
    };
    ClientOrigin second = crowd(2).back();
    EXPECT_TRUE(has(second, crowd(159)));
    EXPECT_FALSE(has(second, crowd(160)));
    EXPECT_TRUE(has(carl, crowd(179)));
    EXPECT_FALSE(has(carl, crowd(180)));
    EXPECT_TRUE(has(root, crowd(199)));
    EXPECT_FALSE(has(root, crowd(200)));
}

TEST(ConnectorFaults, WrongClientsGetALineAMinute) {
    host::CRareLines lines;
    uint32_t leftOut = 7;
    EXPECT_TRUE(lines.MayWrite({L"ann", 1, false}, 1000, leftOut));
    EXPECT_EQ(leftOut, 0u);
    EXPECT_FALSE(lines.MayWrite({L"ann", 1, false}, 1001, leftOut));
    EXPECT_FALSE(lines.MayWrite({L"ann", 1, false}, 60999, leftOut));
    EXPECT_TRUE(lines.MayWrite({L"bob", 1, false}, 1001, leftOut));
    EXPECT_TRUE(lines.MayWrite({L"ann", 1, false}, 61000, leftOut));
    EXPECT_EQ(leftOut, 2u);
}

TEST(ConnectorFaults, AllThatWaitsForReadersIsBounded) {
    host::CSendBudget whole(100);
    host::CSendBudget ann(60, &whole);
    host::CSendBudget bob(60, &whole);
    EXPECT_TRUE(ann.TryTake(60));
    EXPECT_FALSE(ann.TryTake(1));
    EXPECT_FALSE(bob.TryTake(41)) << "the whole's bound";
    EXPECT_TRUE(bob.TryTake(40));
    ann.GiveBack(60);
    EXPECT_TRUE(bob.TryTake(20)) << "what didn't fit was taken nowhere";

    // Thirty that never read share what one account may hold: none of them gets as far as its own bound.
    Inbox inbox;
    Rig rig;
    rig.Serve(inbox);
    std::vector<std::unique_ptr<RawClient>> silent;
    for (int i = 0; i < 30; ++i)
        silent.push_back(std::make_unique<RawClient>(rig));
    const Bytes payload(262144);
    for (uint32_t id = 0; id < 12; ++id)  // 3 MiB for each, of the 4 MiB of its own queue
        EXPECT_EQ(rig.server->broadcast(id, payload.data(), 262144, 0, 0, kEveryClient), 0u);
    const auto isDropped = [](const std::unique_ptr<RawClient>& client) {
        DWORD ignored = 0;
        return !PeekNamedPipe(client->pipe.Get(), nullptr, 0, nullptr, &ignored, nullptr);
    };
    EXPECT_GT(std::count_if(silent.begin(), silent.end(), isDropped), 0);
}

TEST(ConnectorFaults, ClientsReadWhatWasSentBeforeTheEnd) {
    constexpr uint32_t kEvents = 20;
    std::promise<void> goOn;
    Inbox inbox;
    inbox.react = [&](const ConnectorMessage* message) {
        if (message->id == 1) goOn.get_future().wait();
    };
    Rig rig;
    rig.Connect(inbox);
    for (uint32_t id = 1; id <= kEvents; ++id)
        EXPECT_EQ(rig.server->broadcast(id, nullptr, 0, 0, 0, kEveryClient), 0u);
    const auto end = std::async(std::launch::async, [&] { rig.Unregister(); });
    EXPECT_EQ(end.wait_for(std::chrono::milliseconds(300)), std::future_status::timeout);
    goOn.set_value();
    EXPECT_TRUE(inbox.WaitFor(kEvents));
    EXPECT_EQ(end.wait_for(std::chrono::seconds(20)), std::future_status::ready);
}

TEST(ConnectorFaults, CallersAreReleasedWhenEitherEndGoes) {
    for (const bool serverGoes : {true, false}) {
        Inbox inbox;  // answers nothing
        Rig rig;
        rig.Serve(inbox);
        ConnectorEndpoint* const client = rig.Connect();
        auto call = std::async(std::launch::async, [&] {
            ConnectorResponse* response = nullptr;
            return client->sendMessage(1, nullptr, 0, &response, 0, 60000);
        });
        ASSERT_TRUE(inbox.WaitFor(1));
        if (serverGoes) {
            rig.Unregister();
        } else {
            rig.clients.Get()->disconnectPipe(client);
        }
        ASSERT_EQ(call.wait_for(std::chrono::seconds(20)), std::future_status::ready);
        EXPECT_EQ(call.get(), DWORD{ERROR_PIPE_NOT_CONNECTED});
        if (serverGoes) {
            EXPECT_EQ(client->postMessage(1, nullptr, 0, 0), DWORD{ERROR_PIPE_NOT_CONNECTED});
        }
    }
}

TEST(ConnectorFaults, StoppingUnderTrafficLeavesNoReceiveFunctionRunning) {
    Inbox inbox;
    Inbox events;
    Rig rig;
    std::atomic<bool> stopped = false;
    std::atomic<uint32_t> afterStop = 0;
    inbox.react = [&](const ConnectorMessage* message) {
        rig.server->broadcast(1, nullptr, 0, 0, 0, kEveryClient);
        rig.server->replyStatus(message, 3);
        afterStop += stopped ? 1 : 0;
    };
    rig.Serve(inbox);
    std::atomic<bool> enough = false;
    std::vector<std::thread> senders;
    for (int i = 0; i < 3; ++i) {
        senders.emplace_back([&, client = rig.Connect(events)] {
            for (uint32_t id = 0; !enough; ++id) {
                ConnectorResponse* response = nullptr;
                client->postMessage(id, "12345678", 8, 0);
                client->sendMessage(id, nullptr, 0, &response, 0, 20);
            }
        });
    }
    EXPECT_TRUE(inbox.WaitFor(100));
    EXPECT_EQ(rig.server->stopReceiving(1), 0u);
    stopped = true;
    EXPECT_EQ(rig.server->broadcast(2, nullptr, 0, 0, 0, kEveryClient), 0u);
    stopped = false;
    const size_t before = inbox.Messages().size();
    rig.Serve(inbox);
    EXPECT_TRUE(inbox.WaitFor(before + 100)) << "receiving can start again";
    EXPECT_EQ(afterStop, 0u);
    rig.Unregister();
    enough = true;
    for (std::thread& sender : senders)
        sender.join();
}

TEST(ConnectorFaults, ClientsThatCameAndWentLeaveNothingBehind) {
    Inbox inbox;
    Rig rig;
    rig.Echo(inbox);
    const auto comeAndGo = [&](int count) {
        for (int i = 0; i < count; ++i) {
            ConnectorEndpoint* const client = rig.Connect();
            ASSERT_NE(client, nullptr) << i;
            EXPECT_TRUE(Rig::IsEchoed(client, {1}));
            rig.clients.Get()->disconnectPipe(client);
        }
    };
    comeAndGo(5);
    const DWORD before = Handles();
    comeAndGo(300);  // more than the server has places for
    // The last ones' threads end on the server's own time.
    const ULONGLONG deadline = GetTickCount64() + 20000;
    while (Handles() > before + 8 && GetTickCount64() < deadline)
        SwitchToThread();
    EXPECT_LE(Handles(), before + 8);
}

}  // namespace
}  // namespace connector_test
