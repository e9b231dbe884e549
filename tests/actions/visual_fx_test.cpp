// The visual effects from the service's action through the agent to the session and back.
#include "actions/visual_fx.h"

#include <gtest/gtest.h>

#include "frame/users_library.h"
#include "tests/support/fake_session.h"
#include "tests/support/simulated_users.h"

namespace optimizer {
namespace {

using test_support::g_session;
using test_support::Packed;
using Effects = std::map<std::string, int32_t>;

/// The keys of the settings with the actions that the system reads them by.
const std::map<std::string, UINT> kReadBy = {
    {"minimize_animations", 72},
    {"animations_inside_windows", 4162},
    {"slide_animations_combobox", 4100},
    {"shadows_under_cursor", 4122},
    {"smooth_scroll_listboxes", 4102},
    {"slide_animations_menus", 4098},
    {"fade_out_after_clicking", 4116},
    {"tool_tip_animations", 4118},
    {"tool_tips_slide", 4120},
    {"aero", 4158},
    {"shadows_under_windows", 4132},
    {"smooth_edge_fonts", 74},
    {"flat_menus", 4130},
    {"fade_ menus", 4114},
    {"gradient_captions", 4104},
    {"hot_trackings", 4110},
};

VisualFXParams Params(const Effects& effects) {
    VisualFXParams params;
    params.effects = effects;
    return params;
}

class VisualEffects : public testing::Test {
protected:
    VisualEffects() {
        setting.Make();
        int value = 0;
        for (const auto& [key, action] : kReadBy)
            g_session.effects[action] = value = 1 - value;
    }
    ~VisualEffects() override {
        EXPECT_TRUE(g_session.misuses.empty()) << "a call in the wrong form";
        EXPECT_EQ(test_support::SimulatedUsers().impersonations, 0) << "a thread stayed somebody else";
    }

    int& Effect(const char* key) { return g_session.effects.at(kReadBy.at(key)); }
    static Effects Found(VisualFX& action) {
        auto* const found = dynamic_cast<VisualFXParams*>(action.GetRevertParameters());
        return found != nullptr ? found->effects : Effects{{"nothing", 0}};
    }

    test_support::AgentPair pair;
    test_support::UserRegistry setting{
        L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\VisualEffects"};
};

TEST_F(VisualEffects, AllGoToTheProfileAndComeBackButTheOneThatAHandChanged) {
    Effects wanted;
    for (const auto& [key, action] : kReadBy)
        wanted[key] = 1 - g_session.effects[action];
    const auto before = g_session.effects;
    VisualFX action(Params(wanted), &pair.host);
    ASSERT_EQ(action.Start(), 0U);
    for (const auto& [key, get] : kReadBy)
        EXPECT_EQ(g_session.effects[get], wanted[key]) << key;
    EXPECT_EQ(setting.Get(L"VisualFXSetting"), 3);
    const Effects found = Found(action);
    for (const auto& [key, get] : kReadBy)
        EXPECT_EQ(found.at(key), before.at(get)) << key;

    Effect("aero") = 7;
    action.Revert();
    EXPECT_EQ(std::exchange(Effect("aero"), before.at(4158)), 7) << "the hand's value stays";
    EXPECT_EQ(g_session.effects, before);
}

TEST_F(VisualEffects, UpdatesKeepWhatWasFoundFirst) {
    Effect("aero") = Effect("flat_menus") = Effect("hot_trackings") = 1;
    VisualFX action(Params({{"aero", 0}, {"flat_menus", 0}}), &pair.host);
    ASSERT_EQ(action.Start(), 0U);
    VisualFXParams next = Params({{"flat_menus", 5}, {"hot_trackings", 0}});
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(action.Update(&next), 0U);
        EXPECT_EQ(Effect("aero"), 0) << "one that is no longer wanted stays at the profile's value";
        EXPECT_EQ(Effect("flat_menus"), 0) << "one that both hold is left alone";
        EXPECT_EQ(Effect("hot_trackings"), 0);
        EXPECT_EQ(Found(action), (Effects{{"aero", 1}, {"flat_menus", 1}, {"hot_trackings", 1}}));
    }
    EXPECT_EQ(action.Update(nullptr), 87U);
}

TEST_F(VisualEffects, ValuesOfAnEarlierRunAreNotTakenOver) {
    Effect("aero") = 0;  // as an earlier run left it
    VisualFXParams saved = Params({{"aero", 1}});
    VisualFX action(Params({{"aero", 0}}), &pair.host);
    EXPECT_EQ(action.SetRevertParameters(nullptr), 87U);
    EXPECT_EQ(action.SetRevertParameters(&saved), 0U);
    ASSERT_EQ(action.Start(), 0U);
    EXPECT_EQ(action.SetRevertParameters(action.GetRevertParameters()), 0U) << "its own record";
    action.Revert();
    EXPECT_EQ(Effect("aero"), 1);
}

TEST_F(VisualEffects, AUserWhoCannotBeFoundStopsTheStart) {
    struct Case {
        const char* what;
        std::function<void()> make;
        uint32_t result;
    };
    const Case kCases[] = {
        {"nobody to impersonate", [] { test_support::SetSimulatedUser(L"", L"x", 0); }, 31},
        {"no name", [] { test_support::SimulatedUsers().tellsCaller = false; }, 31},
        {"an empty name", [] { test_support::SetSimulatedUser(L"", L""); }, 31},
        {"no such account", [] { test_support::SetSimulatedUser(L"", L"nobody here"); }, 31},
        {"no registry key", [this] { setting.Remove(); }, ERROR_FILE_NOT_FOUND},
        {"no library", [] { VxUsersLibrary::Instance().Unbind(); }, 31},
    };
    for (const Case& trouble : kCases) {
        const test_support::AgentPair fresh;
        setting.Make();
        trouble.make();
        VisualFX action(Params({{"aero", 0}}), const_cast<test_support::FakeHost*>(&fresh.host));
        EXPECT_EQ(action.Start(), trouble.result) << trouble.what;
        EXPECT_TRUE(fresh.connector.server.end.sent.empty()) << trouble.what;
        EXPECT_EQ(test_support::SimulatedUsers().impersonations, 0) << trouble.what;
    }
}

TEST_F(VisualEffects, WithoutAnAgentServerOnlyTheSettingChanges) {
    pair.host.manager.plugins.erase(L"optimizeragentserver");
    VisualFX action(Params({{"aero", 0}}), &pair.host);
    VisualFXParams next;
    EXPECT_EQ(action.Start(), 87U);
    EXPECT_EQ(setting.Get(L"VisualFXSetting"), 3);
    EXPECT_EQ(action.Update(&next), 87U);
    EXPECT_EQ(VisualFX({}, nullptr).Start(), 87U);
}

TEST_F(VisualEffects, ReportsAreTakenForWhatTheyAreWorth) {
    pair.agent.Stop();
    const auto start = [&](VisualFX& action) { EXPECT_EQ(action.Start(), 0U) << "the broadcast's code"; };
    {
        VisualFX action(Params({{"aero", 0}}), &pair.host);
        start(action);
        EXPECT_EQ(action.GetRevertParameters(), nullptr) << "an agent that never answers";
        EXPECT_EQ(g_session.waits, 1);
    }
    const std::string aero = R"({"name":"aero","action":1})";
    const std::pair<std::string, Effects> kReports[] = {
        {Packed("not JSON"), {}},
        {"", {}},
        {std::string("\xFF\xFF\xFF\x7F[", 5), {}},
        {Packed("[" + aero + ",{\"name\":\"fla"), {{"aero", 1}}},
        {Packed("[" + aero + ",7,{\"name\":\"flat_menus\",\"action\":1}]"), {{"aero", 1}}},
        {Packed("[{\"name\":\"aero\"},{\"action\":1},{\"name\":\"fade_menus\",\"action\":1}," + aero + "]"),
         {{"aero", 1}}},
    };
    for (const auto& [report, effects] : kReports) {
        VisualFX action(Params({{"aero", 0}}), &pair.host);
        start(action);
        pair.connector.server.end.Deliver(2, report);
        EXPECT_EQ(Found(action), effects) << report;
        pair.connector.server.end.Deliver(2, Packed(R"([{"name":"flat_menus","action":1}])"));
        EXPECT_EQ(Found(action).count("flat_menus"), 1U) << "a second agent";
    }
    EXPECT_EQ(pair.host.manager.references[L"optimizeragentserver"], 0);
    EXPECT_EQ(pair.connector.server.end.Deliver(2, Packed(aero)), 0U) << "nobody listens any more";
}

}  // namespace
}  // namespace optimizer
