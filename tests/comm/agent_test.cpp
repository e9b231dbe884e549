// The agents' pipe at both ends, with messages that nobody checked before.
#include <gtest/gtest.h>

#include "frame/users_library.h"
#include "tests/support/fake_session.h"

namespace optimizer {
namespace {

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
    EXPECT_EQ(pair.connector.server.name, L"optimizeragentpipe");
    ASSERT_EQ(Agent().sent.size(), 1U);
    EXPECT_EQ(Agent().sent[0].id, 3U) << "it says that it has started";
    struct Case {
        uint32_t id;
        std::string payload;
        uint32_t status;
    };
    const std::string number(3, '\0');
    const Case kCases[] = {
        {1, "", 0},
        {5, "", 0},
        {2, "", 0},                                                          // no command at all
        {2, "\x09" + number, 0},                                             // one that isn't known
        {2, "\x02" + number + Packed("[]"), 0},                              // texts are missing
        {2, std::string(4, '\0') + std::string("\xFF\xFF\xFF\xFF[", 5), 0},  // more counted than sent
        {3, "", 31},
        {99, "", 31},
    };
    for (const Case& each : kCases) {
        Agent().replies.clear();
        EXPECT_EQ(Agent().Deliver(each.id, each.payload), 0U);
        EXPECT_TRUE(Agent().replies.empty()) << "nobody waits";
        EXPECT_EQ(Agent().Deliver(each.id, each.payload, ConnectorMessage::kSenderWaits), 0U);
        EXPECT_EQ(Agent().replies, std::vector<uint32_t>{each.status}) << each.id;
    }
    EXPECT_EQ(g_session.broadcasts,
              (std::vector<std::wstring>{L"Policy 300", L"Policy 300", L"intl 200", L"intl 200"}));
    EXPECT_EQ(Agent().sent.size(), 1U + 8U) << "each message 2 has an answer";
    EXPECT_EQ(Agent().sent[1].payload, Packed("[]")) << "no bytes read as command 0 without effects";
    EXPECT_EQ(Agent().sent[3].payload, Packed(""));
    EXPECT_EQ(Agent().sent[5].payload, Packed("[]"));
    EXPECT_EQ(Agent().sent[5].target, 0U);
    EXPECT_EQ(pair.agent.NpcCallback(nullptr), 31U);
    pair.agent.Stop();
    EXPECT_EQ(Agent().sent.back().id, 4U);
    EXPECT_FALSE(Agent().receive);
}

TEST_F(AgentPipe, ObserversHearTheirMessagesAndNoOthers) {
    Observer first;
    Observer second;
    const int32_t two = 2;
    const int32_t nine = 9;
    EXPECT_EQ(pair.server.RegisterObserver(&two, &first), 0U);
    EXPECT_EQ(pair.server.RegisterObserver(&two, &first), 183U);
    EXPECT_EQ(pair.server.RegisterObserver(&two, &second), 0U);
    EXPECT_EQ(pair.server.RegisterObserver(nullptr, &first), 87U);
    EXPECT_EQ(Service().Deliver(2, "a"), 0U);
    EXPECT_EQ(Service().Deliver(9, "b"), 0U) << "dropped";
    EXPECT_EQ(pair.server.UnregisterObserver(&nine, &first), 1168U);
    EXPECT_EQ(pair.server.UnregisterObserver(&two, &first), 0U);
    EXPECT_EQ(Service().Deliver(2, "c"), 0U);
    EXPECT_EQ(first.heard, "a;");
    EXPECT_EQ(second.heard, "a;c;");
    EXPECT_EQ(Service().receive(nullptr), 87U);

    const uint32_t id = 7;
    EXPECT_EQ(pair.server.RunAction(&id, "xy", 2), 0U);
    EXPECT_EQ(Service().sent.back().payload, "xy");
    EXPECT_EQ(Service().sent.back().target, 0xFFFFFFFFU);
    EXPECT_EQ(pair.server.RunAction(nullptr, nullptr, 0), 87U);
}

TEST_F(AgentPipe, TheServerReceivesFromTheFirstStartToTheLastStop) {
    EXPECT_EQ(pair.server.Start(), 0U);
    EXPECT_EQ(Service().callbacksSet, 1);
    pair.server.Stop();
    EXPECT_TRUE(Service().receive);
    pair.server.Stop();
    EXPECT_FALSE(Service().receive);
    pair.server.Stop();  // one too many
    EXPECT_EQ(pair.server.Start(), 0U);
    EXPECT_EQ(Service().callbacksSet, 2);
}

TEST_F(AgentPipe, AFailedInitGivesBackWhatItTook) {
    const auto balanced = [&] {
        EXPECT_EQ(pair.host.manager.references[L"connserver"], 1) << "the pair's own";
        EXPECT_EQ(pair.host.manager.references[L"connclient"], 1);
    };
    COptimizerAgent agent;
    COptimizerAgentServer server;
    EXPECT_EQ(agent.Init(nullptr), 6U);
    EXPECT_EQ(server.Init(nullptr), 6U);
    pair.connector.client.refuses = pair.connector.server.refuses = true;
    EXPECT_EQ(agent.Init(&pair.host), 31U);
    EXPECT_EQ(server.Init(&pair.host), 31U);
    balanced();
    pair.connector.client.refuses = pair.connector.server.refuses = false;
    EXPECT_EQ(agent.Init(&pair.host) + server.Init(&pair.host), 0U);
    EXPECT_EQ(pair.connector.client.open + pair.connector.server.open, 4);
    for (int i = 0; i < 2; ++i) {
        agent.UnInit();
        server.UnInit();
    }
    EXPECT_EQ(pair.connector.client.open + pair.connector.server.open, 2);
    balanced();
    pair.host.manager.plugins.clear();
    EXPECT_EQ(agent.Init(&pair.host), 1168U);
    EXPECT_EQ(server.Init(&pair.host), 1168U);
    EXPECT_EQ(agent.Start(), 31U);
}

}  // namespace
}  // namespace optimizer
