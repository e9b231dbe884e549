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
    /// What is in the note.
    static Effects Found(VisualFX& action) {
        auto* const found = dynamic_cast<VisualFXParams*>(action.GetRevertParameters());
        return found != nullptr ? found->effects : Effects{{"nothing", 0}};
    }

    test_support::AgentPair pair;
};

TEST_F(VisualEffects, AllGoToTheProfileAndComeBackButTheOneThatAHandChanged) {
    const auto before = g_session.effects;
    Effects wanted;
    Effects found;
    for (const auto& [key, action] : kReadBy) {
        wanted[key] = 1 - before.at(action);
        found[key] = before.at(action);
    }
    VisualFX action(Params(wanted), &pair.host);
    ASSERT_EQ(action.Note(nullptr), 0U);
    EXPECT_EQ(Found(action), found);
    EXPECT_EQ(g_session.effects, before) << "nothing has changed yet";
    ASSERT_EQ(action.Start(), 0U);
    for (const auto& [key, get] : kReadBy)
        EXPECT_EQ(g_session.effects[get], wanted[key]) << key;
    EXPECT_EQ(test_support::UserValue(kKey, L"VisualFXSetting"), 3);

    Effect("aero") = 7;
    action.Revert();
    EXPECT_EQ(action.FinishRevert(), 0U);
    EXPECT_EQ(std::exchange(Effect("aero"), before.at(4158)), 7) << "the hand's value stays";
    EXPECT_EQ(g_session.effects, before);
    EXPECT_EQ(g_session.waits, 0);
}

TEST_F(VisualEffects, UpdatesKeepWhatWasFoundFirstAndBringBackWhatTheyBroughtIn) {
    for (const auto& [key, action] : kReadBy)
        Effect(key.c_str()) = 1;
    VisualFX action(Params({{"aero", 0}, {"flat_menus", 0}}), &pair.host);
    VisualFXParams saved = Params({{"aero", 5}});
    EXPECT_EQ(action.SetRevertParameters(&saved), 0U) << "by an earlier run";
    ASSERT_EQ(action.Start(), 0U);
    EXPECT_EQ(Found(action), (Effects{{"aero", 5}, {"flat_menus", 1}})) << "also without a Note";
    VisualFXParams next = Params({{"flat_menus", 5}, {"hot_trackings", 0}, {"gradient_captions", 0}});
    const Effects noted = {{"aero", 5}, {"flat_menus", 1}, {"hot_trackings", 1}, {"gradient_captions", 1}};
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(action.Note(&next), 0U);
        EXPECT_EQ(Found(action), noted);
        EXPECT_EQ(Effect("hot_trackings"), i == 0 ? 1 : 0);
        ASSERT_EQ(action.Update(&next), 0U);
        EXPECT_EQ(Effect("aero"), 0) << "one that is no longer wanted stays at the profile's value";
        EXPECT_EQ(Effect("flat_menus"), 0) << "one that both hold is left alone";
        EXPECT_EQ(Effect("hot_trackings"), 0);
        EXPECT_EQ(Found(action), noted);
    }
    EXPECT_EQ(action.Update(nullptr) + action.SetRevertParameters(nullptr), 2 * 87U);
    Effect("gradient_captions") = 7;
    action.Revert();
    EXPECT_EQ(action.FinishRevert(), 0U);
    EXPECT_EQ(Effect("aero"), 5);
    EXPECT_EQ(Effect("flat_menus") + Effect("hot_trackings"), 2);
    EXPECT_EQ(Effect("gradient_captions"), 7) << "the hand's value stays here too";
}

/// By the action's last command that an agent should have carried out.
TEST_F(VisualEffects, WhatNoAgentToldOfSettingComesBackWhateverItIsAt) {
    VisualFXParams next = Params({{"flat_menus", 0}});
    VisualFXParams saved = Params({{"aero", 5}, {"flat_menus", 5}});
    const std::function<void(VisualFX&)> kCommands[] = {
        [](VisualFX& action) { EXPECT_EQ(action.Start(), 0U); },
        [](VisualFX& action) {
            RegDeleteTreeW(HKEY_CURRENT_USER, kKey);
            EXPECT_EQ(action.Start(), uint32_t{ERROR_FILE_NOT_FOUND});
        },
        [&](VisualFX& action) { EXPECT_EQ(action.Update(&next), 0U); }};
    for (const auto& command : kCommands) {
        VisualFX action(Params({{"aero", 0}}), &pair.host);
        EXPECT_EQ(action.SetRevertParameters(&saved), 0U);
        Effect("aero") = Effect("flat_menus") = 3;  // an older profile's
        pair.EndAgent();
        command(action);
        action.Revert();
        EXPECT_EQ(action.FinishRevert(), uint32_t{ERROR_NOT_FOUND});
        pair.BeginAgent();
        action.Revert();
        EXPECT_EQ(action.FinishRevert(), 0U);
        const bool isStart = &command != &kCommands[2];
        EXPECT_EQ(Effect("aero"), isStart ? 5 : 3);
        EXPECT_EQ(Effect("flat_menus"), isStart ? 3 : 5);
    }
}

TEST_F(VisualEffects, OnlyAReadBehindTheRevertEndsIt) {
    VisualFXParams saved = Params({{"aero", 1}});
    const std::string report = Packed(R"([{"name":"aero","action":1}])");
    const std::pair<std::vector<std::string>, uint32_t> kAnswers[] = {
        {{Packed("")}, ERROR_TIMEOUT},
        {{report}, ERROR_TIMEOUT},
        {{report, Packed("")}, ERROR_TIMEOUT},
        {{Packed(""), Packed(R"([{"name":"flat_menus","action":1}])")}, ERROR_TIMEOUT},
        {{Packed(""), report}, 0}};
    pair.agent.Stop();
    for (const auto& [answers, result] : kAnswers) {
        VisualFX action(Params({{"aero", 0}}), &pair.host);
        EXPECT_EQ(action.SetRevertParameters(&saved), 0U);
        action.Revert();
        for (const std::string& answer : answers)
            pair.connector.server.end.Deliver(2, answer);
        EXPECT_EQ(action.FinishRevert(), result) << answers.size();
    }
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
        VisualFX action(Params({{"aero", 1}}), &pair.host);
        EXPECT_EQ(action.Start(), result);
        EXPECT_EQ(action.Note(nullptr), 87U);
        EXPECT_TRUE(pair.connector.server.end.sent.empty());
    }
    const test_support::AgentPair fresh;
    RegDeleteTreeW(HKEY_CURRENT_USER, kKey);
    EXPECT_EQ(VisualFX({}, nullptr).Start(), uint32_t{ERROR_FILE_NOT_FOUND});
}

/// What each operation that needs an answer says, and whether it waited for its whole time.
TEST_F(VisualEffects, NobodyWaitsForAnAgentThatIsNotToCome) {
    using Pair = test_support::AgentPair;
    using Arrange = std::function<void(Pair&)>;
    const Arrange none = [](Pair& each) { each.EndAgent(); };
    const Arrange late = [](Pair& each) {
        each.EndAgent();
        each.server.Expect();
    };
    const Arrange silent = [](Pair& each) { each.agent.Stop(); };
    const Arrange elsewhere = [](Pair& each) { ++each.connector.client.ends.front().session; };
    const Arrange untold = [](Pair& each) {
        each.EndAgent();
        each.server.UnInit();
        each.connector.server.watch = nullptr;
        EXPECT_EQ(each.server.Init(&each.host) + each.server.Start(), 0U);
    };
    const Arrange empty = [](Pair& each) { each.connector.server.end.Deliver(2, Packed("")); };
    const Arrange garbage = [](Pair& each) { each.connector.server.end.Deliver(2, Packed("[")); };
    const Arrange comes = [](Pair& each) { each.BeginAgent(); };
    const Arrange nothing = [](Pair&) {};
    struct Case {
        const char* what;
        Arrange before;
        Arrange meanwhile;  // null for a Cancel
        uint32_t result;
        int waits;
    };
    const Case kCases[] = {
        {"an agent", nothing, nothing, 0, 0},
        {"none", none, nothing, ERROR_NOT_FOUND, 0},
        {"another session's", elsewhere, nothing, ERROR_NOT_FOUND, 0},
        {"one that never comes", late, nothing, ERROR_TIMEOUT, 1},
        {"one that comes", late, comes, 0, 0},
        {"one that isn't waited for to the end", late, nullptr, ERROR_CANCELLED, 0},
        {"a silent one", silent, nothing, ERROR_TIMEOUT, 1},
        {"one with a wrong answer", silent, garbage, ERROR_TIMEOUT, 1},
        {"a silent one, given up", silent, nullptr, ERROR_CANCELLED, 0},
        {"one that nobody can tell of", untold, nothing, ERROR_TIMEOUT, 1},
    };
    VisualFXParams saved = Params({{"aero", 1}});
    const std::pair<const char*, std::function<uint32_t(VisualFX&)>> kOperations[] = {
        {"Note", [](VisualFX& action) { return action.Note(nullptr); }},
        {"PutBack", [](VisualFX& action) { return action.PutBack(); }},
        {"FinishRevert", [&](VisualFX& action) {
             return action.SetRevertParameters(&saved) + action.Revert() + action.FinishRevert();
         }}};
    for (const Case& each : kCases) {
        for (const auto& [name, operation] : kOperations) {
            SCOPED_TRACE(each.what + std::string(", ") + name);
            Pair fresh;
            g_session.effects = {{kReadBy.at("aero"), 1}};
            each.before(fresh);
            VisualFX action(Params({{"aero", 0}}), &fresh.host);
            g_session.meanwhile = [&] { each.meanwhile ? each.meanwhile(fresh) : (void)action.Cancel(); };
            EXPECT_EQ(operation(action), each.result);
            EXPECT_EQ(g_session.waits, each.waits);
        }
    }
    silent(pair);
    g_session.waits = 0;
    VisualFX older(Params({{"aero", 0}}), &pair.host);
    g_session.meanwhile = [&] { empty(pair); };
    EXPECT_EQ(older.Note(nullptr), uint32_t{ERROR_TIMEOUT}) << "an agent that doesn't know the command";
    EXPECT_EQ(older.GetRevertParameters(), nullptr);
    pair.connector.server.end.Deliver(2, Packed(R"([{"name":"aero","action":0}])"));
    EXPECT_EQ(older.GetRevertParameters(), nullptr) << "too late";
    EXPECT_EQ(g_session.waits, 1);
}

TEST_F(VisualEffects, ReportsAreTakenForWhatTheyAreWorth) {
    pair.agent.Stop();
    const std::string aero = R"({"name":"aero","action":1})";
    const std::pair<std::string, Effects> kReports[] = {
        {Packed("not JSON"), {}},
        {"", {{"nothing", 0}}},
        {std::string("\xFF\xFF\xFF\x7F[", 5), {{"nothing", 0}}},
        {Packed("[" + aero + ",{\"name\":\"fla"), {{"aero", 1}}},
        {Packed("[" + aero + ",7,{\"name\":\"flat_menus\",\"action\":1}]"), {{"aero", 1}}},
        {Packed(R"([{"name":"aero"},{"action":1},{"name":"fade_menus","action":1}])"), {}},
        {Packed("[" + aero + ",{\"name\":\"hot_trackings\",\"action\":1}]"), {{"aero", 1}}},
    };
    for (const auto& [report, effects] : kReports) {
        VisualFX action(Params({{"aero", 0}, {"flat_menus", 0}}), &pair.host);
        EXPECT_EQ(action.Start(), 0U) << "the broadcast's code";
        g_session.waits = 0;
        pair.connector.server.end.Deliver(2, report);
        EXPECT_EQ(Found(action), effects) << report;
        pair.connector.server.end.Deliver(2, Packed(R"([{"name":"flat_menus","action":1}])"));
        EXPECT_EQ(Found(action).count("flat_menus"), 1U) << "a second agent, or a late one";
        EXPECT_EQ(g_session.waits, 1) << "once for one command";
    }
}

TEST_F(VisualEffects, ReportsToAnotherActionAreNotTaken) {
    Effect("aero") = 0;
    VisualFX profile(Params({{"aero", 0}}), &pair.host);
    VisualFX note(Params({{"aero", 1}}), &pair.host);
    RegDeleteTreeW(HKEY_CURRENT_USER, kKey);  // which a user needn't have
    EXPECT_EQ(note.PutBack(), 0U);
    EXPECT_EQ(Effect("aero"), 1);
    EXPECT_EQ(profile.GetRevertParameters(), nullptr) << "what was found then is the profile's value";
    ASSERT_EQ(profile.Note(nullptr), 0U);
    EXPECT_EQ(Found(profile), (Effects{{"aero", 1}}));
    EXPECT_EQ(VisualFX({}, &pair.host).PutBack(), 0U) << "nothing to bring back";
}

}  // namespace
}  // namespace optimizer
