// The agents' pipe at both ends, with messages that nobody checked before.
#include <gtest/gtest.h>

#include "tests/support/fake_session.h"
#include "tests/support/raw_slots.h"

namespace optimizer {
namespace {

using test_support::CallSlot;
using test_support::FakeEndpoint;
using test_support::g_session;
using test_support::Packed;

struct Observer final : IOptimizerAgentEvents {
    void Reserved0() override {}
    void Reserved1() override {}
    void OnAgentData(const void* payload, int32_t sizeBytes) override {
        heard += std::string(static_cast<const char*>(payload), static_cast<size_t>(sizeBytes)) + ";";
    }
    std::string heard;
};

class AgentPipe : public testing::Test {
protected:
    FakeEndpoint& Agent() { return pair.connector.client.ends.front(); }
    FakeEndpoint& Service() { return pair.connector.server.end; }

    test_support::AgentPair pair;
};

TEST_F(AgentPipe, TheAgentCarriesOutWhatItKnowsAndAnswersWhoWaits) {
    EXPECT_EQ(pair.connector.client.asked, L"optimizeragentpipe 1 optimizercommonpipe 5000");
    EXPECT_EQ(pair.connector.server.asked, L"optimizeragentpipe");
    EXPECT_EQ(Agent().sent.at(0).id, 3U) << "it says that it has started";
    struct Case {
        uint32_t id;
        std::string payload;
        uint32_t status;
        std::string answer;  // of message 2
    };
    const std::string number(3, '\0');
    std::string deep;
    while (deep.size() < size_t{60000} * 5)
        deep += "{\"a\":";
    g_session.effects[4158] = 1;
    const Case kCases[] = {
        {1, "", 0, ""},
        {5, "", 0, ""},
        {2, "", 0, "[]"},  // no bytes read as the first command, without effects
        {2, "\x09" + number, 0, ""},
        {2, "\x03" + number + Packed(R"([{"name":"aero","action":0}])"), 0,
         R"([{"action":1,"name":"aero"}])"},  // asked for and left as it is
        {2, "\x03" + number, 0, "[]"},
        {2, "\x03" + number + Packed(deep), 0, "[]"},
        {2, "\x02" + number + Packed("[]"), 0, "[]"},                              // texts are missing
        {2, std::string(4, '\0') + std::string("\xFF\xFF\xFF\xFF[", 5), 0, "[]"},  // more counted than sent
        {3, "", 31, ""},
        {99, "", 31, ""},
    };
    for (const Case& each : kCases) {
        Agent().replies.clear();
        Agent().sent.clear();
        EXPECT_EQ(Agent().Deliver(each.id, each.payload), 0U);
        EXPECT_TRUE(Agent().replies.empty()) << "nobody waits";
        EXPECT_EQ(Agent().Deliver(each.id, each.payload, ConnectorMessage::kSenderWaits), 0U);
        EXPECT_EQ(Agent().replies, std::vector<uint32_t>{each.status}) << each.id;
        ASSERT_EQ(Agent().sent.size(), each.id == 2 ? 2U : 0U);
        EXPECT_TRUE(each.id != 2 || Agent().sent[0].payload == Packed(each.answer)) << each.payload;
    }
    EXPECT_EQ(g_session.broadcasts,
              (std::vector<std::wstring>{L"Policy 300", L"Policy 300", L"intl 200", L"intl 200"}));
    EXPECT_EQ(pair.agent.NpcCallback(nullptr), 31U);
    pair.agent.Stop();
    EXPECT_EQ(Agent().sent.back().id, 4U);
    EXPECT_FALSE(Agent().receive);
}

TEST_F(AgentPipe, ObserversHearTheirMessagesFromTheFirstStartToTheLastStop) {
    Observer first;
    Observer second;
    const int32_t two = 2;
    EXPECT_EQ(pair.server.RegisterObserver(&two, &first), 0U);
    EXPECT_EQ(pair.server.RegisterObserver(&two, &first), 183U);
    EXPECT_EQ(pair.server.RegisterObserver(&two, &second), 0U);
    Service().Deliver(2, "a");
    EXPECT_EQ(Service().Deliver(9, "b"), 0U) << "dropped";
    EXPECT_EQ(pair.server.UnregisterObserver(&two, &first), 0U);
    pair.server.Start();
    EXPECT_EQ(Service().callbacksSet, 1);
    pair.server.Stop();
    Service().Deliver(2, "c");
    EXPECT_EQ(Service().receive(nullptr), 87U);
    pair.server.Stop();
    EXPECT_FALSE(Service().receive);
    EXPECT_EQ(first.heard + second.heard, "a;a;c;");
}

TEST_F(AgentPipe, ReportsCountFromTheConsolesSessionOnly) {
    const uint32_t console = WTSGetActiveConsoleSessionId();
    struct Case {
        bool watched;
        uint32_t id;
        uint32_t session;
        const char* heard;
    };
    const Case kCases[] = {{true, 2, console, "a;"},
                           {true, 2, console + 1, ""},
                           {true, 2, IClientWatch::kNoSession, ""},
                           {true, 9, console + 1, "a;"},
                           {false, 2, console + 1, "a;"}};
    for (const Case& each : kCases) {
        pair.server.UnInit();
        pair.connector.server.watch = each.watched ? &pair.connector.watch : nullptr;
        ASSERT_EQ(pair.server.Init(&pair.host) + pair.server.Start(), 0U);
        Observer observer;
        const auto id = static_cast<int32_t>(each.id);
        EXPECT_EQ(pair.server.RegisterObserver(&id, &observer), 0U);
        Agent().session = each.session;
        EXPECT_EQ(Service().Deliver(each.id, "a"), 0U);
        EXPECT_EQ(observer.heard, each.heard) << each.id << " of " << each.session;
        EXPECT_EQ(pair.server.UnregisterObserver(&id, &observer), 0U);
    }
}

TEST_F(AgentPipe, CommandsOfTheEffectsReachTheConsolesSessionOnly) {
    const uint32_t console = WTSGetActiveConsoleSessionId();
    struct Case {
        bool watched;
        uint32_t id;
        uint32_t session;
        bool isHeard;
    };
    const Case kCases[] = {{true, 2, console, true},
                           {true, 2, console + 1, false},
                           {true, 2, IClientWatch::kNoSession, false},
                           {true, 1, console + 1, true},
                           {true, 5, console + 1, true},
                           {false, 2, console + 1, true}};
    for (const Case& each : kCases) {
        pair.server.UnInit();
        pair.connector.server.watch = each.watched ? &pair.connector.watch : nullptr;
        ASSERT_EQ(pair.server.Init(&pair.host) + pair.server.Start(), 0U);
        Agent().session = each.session;
        bool isHeard = false;
        Agent().receive = [&](const ConnectorMessage* message) {
            isHeard = message->id == each.id;
            return 0U;
        };
        EXPECT_EQ(pair.server.RunAction(&each.id, "a", 1), 0U);
        EXPECT_EQ(isHeard, each.isHeard) << each.id << " to " << each.session;
    }
    Agent().receive = nullptr;
}

/// By the slots, as the host reaches them.
TEST_F(AgentPipe, AnAgentIsWaitedForWhereOneIsOnItsWay) {
    auto* const presence =
        CallSlot<void*>(static_cast<IOptimizerAgentServer*>(&pair.server), 0, &IAgentPresence::kIdentifier);
    ASSERT_NE(presence, nullptr);
    const auto waitForAgent = [&](HANDLE stop = nullptr) {
        g_session.waits = 0;
        return CallSlot<uint32_t>(presence, 2, uint32_t{5000}, static_cast<void*>(stop));
    };
    CallSlot<void>(presence, 1);
    EXPECT_EQ(waitForAgent(), 0U);
    pair.EndAgent();
    EXPECT_EQ(waitForAgent(), 1168U) << "one that was there isn't on its way";
    CallSlot<void>(presence, 1);
    EXPECT_EQ(waitForAgent(), 1460U);
    EXPECT_EQ(g_session.waits, 1);
    EXPECT_EQ(waitForAgent(), 1168U) << "nobody waits in vain twice";

    CallSlot<void>(presence, 1);
    const KernelHandle stop(CreateEventW(nullptr, TRUE, TRUE, nullptr));
    EXPECT_EQ(waitForAgent(stop.Get()), 1223U);
    ++pair.connector.client.session;
    g_session.meanwhile = [&] { pair.BeginAgent(); };
    EXPECT_EQ(waitForAgent(), 1460U) << "one of another session has come";
    --pair.connector.client.session;
    CallSlot<void>(presence, 1);
    pair.EndAgent();
    g_session.meanwhile = [&] { pair.BeginAgent(); };
    EXPECT_EQ(waitForAgent(), 0U);
    EXPECT_EQ(g_session.waits, 0);
    pair.EndAgent();
    EXPECT_EQ(waitForAgent(), 1168U) << "it has come and gone";
}

TEST_F(AgentPipe, AnAgentWithoutAPipeGivesBackWhatItTook) {
    COptimizerAgent agent;
    pair.connector.client.refuses = true;
    EXPECT_EQ(agent.Init(&pair.host), 31U);
    EXPECT_EQ(agent.Start(), 31U);
}

}  // namespace
}  // namespace optimizer
