// The visual effects from the service's action through the agent to the session and back.
#include "actions/visual_fx.h"

#include <gtest/gtest.h>

#include "tests/support/fake_session.h"
#include "tests/support/simulated_users.h"

namespace optimizer {
namespace {

using test_support::g_session;
using test_support::Packed;
using Effects = std::map<std::string, int32_t>;

/// The keys of the settings with the actions that the system reads them by.
const std::map<std::string, uint32_t> kReadBy = {{"minimize_animations", 72},
                                                 {"animations_inside_windows", 4162},
                                                 {"slide_animations_combobox", 4100},
                                                 {"shadows_under_cursor", 4122},
                                                 {"smooth_scroll_listboxes", 4102},
                                                 {"slide_animations_menus", 4098},
                                                 {"tool_tip_animations", 4118},
                                                 {"fade_out_after_clicking", 4116},
                                                 {"shadows_under_windows", 4132},
                                                 {"tool_tips_slide", 4120},
                                                 {"smooth_edge_fonts", 74},
                                                 {"gradient_captions", 4104},
                                                 {"flat_menus", 4130},
                                                 {"fade_ menus", 4114},
                                                 {"hot_trackings", 4110},
                                                 {"aero", 4158}};
constexpr const wchar_t* kKey = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\VisualEffects";

VisualFXParams Params(const Effects& effects) {
    VisualFXParams params;
    params.effects = effects;
    return params;
}

class VisualEffects : public testing::Test {
protected:
    VisualEffects() {
        for (const auto& [key, action] : kReadBy)
            g_session.effects[action] = static_cast<int>(g_session.effects.size() % 2);
        RegCreateKeyW(HKEY_CURRENT_USER, kKey, RegistryKey().Receive());
    }
    ~VisualEffects() override { RegDeleteTreeW(HKEY_CURRENT_USER, kKey); }

    static int& Effect(const char* key) { return g_session.effects.at(kReadBy.at(key)); }
    static Effects Found(VisualFX& action) {
        auto* const found = dynamic_cast<VisualFXParams*>(action.GetRevertParameters());
        return found != nullptr ? found->effects : Effects{{"nothing", 0}};
    }

    test_support::AgentPair pair;
};

TEST_F(VisualEffects, AllGoToTheProfileAndComeBackButTheOneThatAHandChanged) {
    const auto before = g_session.effects;
    Effects wanted;
    for (const auto& [key, action] : kReadBy)
        wanted[key] = 1 - before.at(action);
    VisualFX action(Params(wanted), &pair.host);
    ASSERT_EQ(action.Start(), 0U);
    const Effects found = Found(action);
    for (const auto& [key, get] : kReadBy) {
        EXPECT_EQ(g_session.effects[get], wanted[key]) << key;
        EXPECT_EQ(found.at(key), before.at(get)) << key;
    }
    EXPECT_EQ(test_support::UserValue(kKey, L"VisualFXSetting"), 3);

    Effect("aero") = 7;
    action.Revert();
    EXPECT_EQ(std::exchange(Effect("aero"), before.at(4158)), 7) << "the hand's value stays";
    EXPECT_EQ(g_session.effects, before);
}

TEST_F(VisualEffects, UpdatesKeepWhatWasFoundFirst) {
    Effect("aero") = Effect("flat_menus") = Effect("hot_trackings") = 1;
    VisualFX action(Params({{"aero", 0}, {"flat_menus", 0}}), &pair.host);
    VisualFXParams saved = Params({{"aero", 5}});
    EXPECT_EQ(action.SetRevertParameters(&saved), 0U) << "by an earlier run";
    ASSERT_EQ(action.Start(), 0U);
    VisualFXParams next = Params({{"flat_menus", 5}, {"hot_trackings", 0}});
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(action.Update(&next), 0U);
        EXPECT_EQ(Effect("aero"), 0) << "one that is no longer wanted stays at the profile's value";
        EXPECT_EQ(Effect("flat_menus"), 0) << "one that both hold is left alone";
        EXPECT_EQ(Effect("hot_trackings"), 0);
        EXPECT_EQ(Found(action), (Effects{{"aero", 5}, {"flat_menus", 1}, {"hot_trackings", 1}}));
    }
    EXPECT_EQ(action.Update(nullptr) + action.SetRevertParameters(nullptr), 2 * 87U);
}

TEST_F(VisualEffects, WhatIsMissingStopsTheStart) {
    // The agent server, a name, the account, somebody to impersonate: each goes in its turn.
    const std::pair<std::function<void()>, uint32_t> kCases[] = {
        {[this] { pair.host.manager.plugins.erase(L"optimizeragentserver"); }, 87},
        {[] { test_support::SimulatedUsers().tellsCaller = false; }, 31},
        {[] { test_support::SetSimulatedUser(L"", L"nobody here"); }, 31},
        {[] { test_support::SetSimulatedUser(L"", L"x", 0); }, 31}};
    for (const auto& [takeAway, result] : kCases) {
        takeAway();
        EXPECT_EQ(VisualFX({}, &pair.host).Start(), result);
        EXPECT_TRUE(pair.connector.server.end.sent.empty());
    }
    const test_support::AgentPair fresh;
    RegDeleteTreeW(HKEY_CURRENT_USER, kKey);
    EXPECT_EQ(VisualFX({}, nullptr).Start(), uint32_t{ERROR_FILE_NOT_FOUND});
}

TEST_F(VisualEffects, ReportsAreTakenForWhatTheyAreWorth) {
    pair.agent.Stop();
    VisualFX unheard({}, &pair.host);
    EXPECT_EQ(unheard.Start(), 0U) << "the broadcast's code";
    EXPECT_EQ(unheard.GetRevertParameters(), nullptr) << "an agent that never answers";
    VisualFXParams saved = Params({{"aero", 1}});
    EXPECT_EQ(unheard.SetRevertParameters(&saved), 0U);
    EXPECT_NE(unheard.PutBack(), 0U) << "with or without values of an earlier run";
    EXPECT_EQ(g_session.waits, 2);
    const std::string aero = R"({"name":"aero","action":1})";
    const std::pair<std::string, Effects> kReports[] = {
        {Packed("not JSON"), {}},
        {"", {}},
        {std::string("\xFF\xFF\xFF\x7F[", 5), {}},
        {Packed("[" + aero + ",{\"name\":\"fla"), {{"aero", 1}}},
        {Packed("[" + aero + ",7,{\"name\":\"flat_menus\",\"action\":1}]"), {{"aero", 1}}},
        {Packed(R"([{"name":"aero"},{"action":1},{"name":"fade_menus","action":1}])"), {}},
    };
    for (const auto& [report, effects] : kReports) {
        VisualFX action({}, &pair.host);
        pair.connector.server.end.Deliver(2, report);
        EXPECT_EQ(Found(action), effects) << report;
        pair.connector.server.end.Deliver(2, Packed(R"([{"name":"flat_menus","action":1}])"));
        EXPECT_EQ(Found(action).count("flat_menus"), 1U) << "a second agent";
    }
}

}  // namespace
}  // namespace optimizer
