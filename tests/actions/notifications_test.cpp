// Notifications are blocked in the real registry of the Wine user; the agents are told afterwards.
#include <gtest/gtest.h>

#include "actions/block_win_notifications_action.h"
#include "actions/disable_balloon_action.h"
#include "tests/support/fake_session.h"
#include "tests/support/simulated_users.h"

namespace optimizer {
namespace {

using test_support::g_session;
using test_support::SimulatedUsers;

constexpr const wchar_t* kPolicy = L"NoToastApplicationNotification";

BlockWinNotificationsParams Blocked(const std::string& text) {
    BlockWinNotificationsParams params;
    const picojson::value json(picojson::object{{"BlockStatus", picojson::value(text)}});
    params.FromJson(&json);
    return params;
}

class Notifications : public testing::Test {
protected:
    test_support::AgentPair pair;
    test_support::UserRegistry policy{
        L"Software\\Policies\\Microsoft\\Windows\\CurrentVersion\\PushNotifications"};
    test_support::UserRegistry balloons{L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Advanced"};
};

TEST_F(Notifications, ThePolicyIsSetAndComesBackFromEachStateItCanBeIn) {
    for (const int before : {-1, 0, 1}) {
        for (const auto& [text, value] : {std::pair("enabled", 1), {"disabled", 0}, {"not_configured", -1}}) {
            policy.Remove();
            if (before >= 0) policy.Set(kPolicy, static_cast<DWORD>(before));
            CBlockWinNotificationsAction action(Blocked(text), &pair.host);
            EXPECT_EQ(action.Revert(), 31U) << "nothing noted";
            EXPECT_EQ(action.Start(), 0U);
            EXPECT_EQ(policy.Get(kPolicy), value) << text;
            EXPECT_EQ(action.Revert(), 31U) << "also when it worked";
            EXPECT_EQ(policy.Get(kPolicy), before) << text;
        }
    }
    EXPECT_EQ(g_session.broadcasts.back(), L"Policy 300");
    EXPECT_EQ(pair.host.manager.references[L"optimizeragentserver"], 0);
}

TEST_F(Notifications, AFailedMessageHidesTheRegistryAndAnUpdateTriesAgain) {
    CBlockWinNotificationsAction action(Blocked("enabled"), &pair.host);
    BlockWinNotificationsParams disabled = Blocked("disabled");
    pair.connector.server.end.sendResult = 233;
    EXPECT_EQ(action.Start(), 233U);
    EXPECT_EQ(action.Update(&disabled), 0U);
    EXPECT_EQ(policy.Get(kPolicy), 0);
    EXPECT_FALSE(action.HasSameParameters(&disabled)) << "not stored";
    pair.connector.server.end.sendResult = 0;
    EXPECT_EQ(action.Update(&disabled), 0U);
    EXPECT_TRUE(action.HasSameParameters(&disabled));
    EXPECT_EQ(action.Update(nullptr), 87U);
    EXPECT_EQ(action.SetRevertParameters(nullptr), 87U);

    BlockWinNotificationsParams odd;
    odd.blockStatus = static_cast<BlockStatus>(7);
    EXPECT_EQ(CBlockWinNotificationsAction(odd, nullptr).Start(), 31U);
    EXPECT_EQ(Blocked("anything"), BlockWinNotificationsParams());
    SimulatedUsers().tellsCaller = false;
    EXPECT_EQ(action.Start(), 31U);
    EXPECT_EQ(SimulatedUsers().impersonations, 0);
}

TEST_F(Notifications, SystemsBeforeWindows8AreLeftAlone) {
    for (const int minor : {2, 1, -1}) {
        g_session.minorVersion = minor;
        policy.Remove();
        CBlockWinNotificationsAction action(Blocked("enabled"), &pair.host);
        EXPECT_EQ(action.Start(), 0U);
        EXPECT_EQ(policy.Get(kPolicy), minor >= 2 ? 1 : -1) << minor;
        EXPECT_EQ(action.HasSameParameters(nullptr), minor < 2);
        EXPECT_STREQ(action.GetName(), L"BlockWinNotification");
    }
}

TEST_F(Notifications, BalloonsGoOffForEveryAccountOrForNone) {
    UserRecord known = {};
    UserRecord unknown = {};
    wchar_t computer[MAX_COMPUTERNAME_LENGTH + 1] = L"";
    DWORD length = MAX_COMPUTERNAME_LENGTH + 1;
    GetComputerNameW(computer, &length);
    wcscpy(known.domain, computer);
    length = 50;
    GetUserNameW(known.name, &length);
    wcscpy(unknown.name, L"nobody here");
    UserRecord* both[] = {&known, nullptr, &unknown};
    UserList all = {both, both + 3};
    UserList one = {both, both + 2};
    struct Case {
        const char* what;
        UserList* accounts;
        bool keyThere;
        uint32_t result;
        int off;
        int on;
    };
    const Case kCases[] = {
        {"every account", &one, true, 0, 0, 1},
        {"an account without an identifier", &all, true, 31, -1, -1},
        {"an account without the key", &one, false, 31, -1, -1},
        {"no list", nullptr, true, 31, -1, -1},
    };
    for (const Case& each : kCases) {
        balloons.Remove();
        if (each.keyThere) balloons.Make();
        SimulatedUsers() = {};
        SimulatedUsers().accounts = each.accounts;
        g_session.broadcasts.clear();
        CDisableBalloonAction action(&pair.host);
        EXPECT_EQ(action.Start(), each.result) << each.what;
        EXPECT_EQ(balloons.Get(L"EnableBalloonTips"), each.off) << each.what;
        EXPECT_EQ(action.Revert(), each.result) << each.what;
        EXPECT_EQ(balloons.Get(L"EnableBalloonTips"), each.on) << each.what;
        EXPECT_EQ(g_session.broadcasts, std::vector<std::wstring>(2, L"intl 200")) << "told in all cases";
        EXPECT_EQ(SimulatedUsers().listsFreed, each.accounts != nullptr ? 2 : 0) << each.what;
    }
}

}  // namespace
}  // namespace optimizer
