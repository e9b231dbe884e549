// Which requests run actions, which are only remembered, and what a logon does.
#include "profile/profile_manager.h"

#include <memory>

#include "settings/iprofiles_settings.h"
#include "tests/profile/engine_fixture.h"
#include "tests/support/simulated_users.h"

namespace optimizer {
namespace {

using test_support::RecordingFactory;
using Log = std::vector<std::wstring>;

struct Heard final : IProfileManagerObserver {
    void OnProfileApplied(const profiles::profile* applied) override {
        all.push_back("applied " + std::to_string(static_cast<int>(*applied)));
    }
    void OnActionsExecuted(const profiles::profile* executed) override {
        all.push_back("executed " + std::to_string(static_cast<int>(*executed)));
    }
    void OnModuleStateChanged(bool enabled) override { all.emplace_back(enabled ? "on" : "off"); }

    std::vector<std::string> Take() { return std::exchange(all, {}); }
    std::vector<std::string> all;
};

class ProfileManagerTest : public test_support::EngineFixture {
protected:
    ProfileManagerTest() : m_manager(&m_heard, &m_host, &RecordingFactory) {}

    void Start(bool moduleOn) {
        m_settings.GetProfilesSettings()->SetModuleStatus(&moduleOn);
        ASSERT_EQ(m_manager.Start(), 0U);
        m_host.queue.RunAll();
        m_heard.all.clear();
    }
    uint32_t Set(profile wanted) {
        const uint32_t result = m_manager.SetProfile(&wanted);
        m_host.queue.RunAll();
        return result;
    }
    profile Active() {
        profile active = profile::Disabled;
        EXPECT_EQ(m_manager.GetProfile(&active), 0U);
        return active;
    }

    Heard m_heard;
    ProfileManager m_manager;
};

TEST_F(ProfileManagerTest, AModuleThatIsOffRemembersTheChoiceAndRunsItWhenItGoesOn) {
    Start(false);
    EXPECT_EQ(Set(profile::Game), 0U);
    EXPECT_TRUE(TakeLog().empty()) << "no change to the machine";
    EXPECT_EQ(m_heard.Take(), (std::vector<std::string>{"applied 2"}));
    EXPECT_NE(UserFile().find(R"("active_profile":"Game")"), std::string::npos);
    EXPECT_EQ(Set(profile::Battery), 0U);
    EXPECT_EQ(TakeLog(), (Log{L"start A"})) << "\"Battery\" runs all the same";
    EXPECT_EQ(Set(profile::Game), 0U);

    EXPECT_EQ(m_manager.SetModuleState(1), 0U);
    m_host.queue.RunAll();
    EXPECT_EQ(TakeLog(), (Log{L"update A", L"start B", L"start C", L"start D"}));
    EXPECT_NE(UserFile().find(R"("module_status":true)"), std::string::npos);
    EXPECT_EQ(m_manager.SetModuleState(2), 0U) << "only 1 means on";
    m_host.queue.RunAll();
    EXPECT_EQ(TakeLog(), (Log{L"revert A", L"revert B", L"revert C", L"revert D"}));
    EXPECT_EQ(Active(), profile::Game) << "the field goes on naming the choice";
    EXPECT_FALSE(m_manager.GetModuleState());
}

TEST_F(ProfileManagerTest, NoRoadStartsAnythingWhileTheModuleIsOff) {
    Start(true);
    ASSERT_EQ(Set(profile::Game), 0U);
    ASSERT_EQ(m_manager.Stop(), 0U);
    TakeLog();
    Start(false);
    EXPECT_EQ(TakeLog(), (Log{L"start A", L"start B", L"start C", L"start D"})) << "put back";
    for (const auto& [name, value] : m_machine.values)
        EXPECT_EQ(value, 7) << static_cast<char>(name[0]);
    m_manager.OnLogon(0, L"DOM\\ann");
    profile game = profile::Game;
    EXPECT_EQ(m_manager.SetProfileConfig(&game, LR"({"B":{"active":false}})"), 0U);
    m_host.queue.RunAll();
    EXPECT_EQ(TakeLog(), Log{});
    EXPECT_EQ(Active(), profile::Game);
    EXPECT_NE(UserFile().find(R"("active_profile":"Game")"), std::string::npos) << "the choice stays";
    EXPECT_EQ(m_manager.SetModuleState(1), 0U);
    EXPECT_EQ(m_manager.SetModuleState(0), 0U);
    m_host.queue.RunAll();
    EXPECT_NE(UserFile().find(R"("active_profile":"Game")"), std::string::npos) << UserFile();
}

TEST_F(ProfileManagerTest, DisabledIsRefusedOnlyWhenTheMachineIsBack) {
    Start(true);
    ASSERT_EQ(Set(profile::Game), 0U);
    m_machine.stuck = L"B";
    EXPECT_EQ(Set(profile::Disabled), 0U);
    m_machine.stuck.clear();
    m_heard.Take();
    EXPECT_EQ(Set(profile::Disabled), 0U);
    EXPECT_EQ(m_heard.Take(), (std::vector<std::string>{"applied 0", "executed 0"}));
    EXPECT_EQ(m_machine.values[L"B"], 7);
    EXPECT_EQ(Set(profile::Disabled), uint32_t{ERROR_ALREADY_EXISTS});
}

TEST_F(ProfileManagerTest, AWayBackThatIsAskedForMeanwhileIsTriedOnceMoreBeforeItsEndIsTold) {
    Start(true);
    ASSERT_EQ(Set(profile::Game), 0U);
    m_machine.stuck = L"B";
    m_heard.Take();
    profile disabled = profile::Disabled;
    m_machine.onEvent = [&](const std::wstring& event) {
        if (event != L"revert C") return;
        EXPECT_EQ(m_manager.SetProfile(&disabled), 0U);
        m_machine.stuck.clear();
    };
    EXPECT_EQ(Set(profile::Disabled), 0U);
    EXPECT_EQ(m_heard.Take(), (std::vector<std::string>{"applied 0", "executed 0"}));
    EXPECT_EQ(m_machine.values[L"B"], 7);
    EXPECT_NE(m_manager.LastRun().find(R"("problems":[])"), std::string::npos) << m_manager.LastRun();
    m_machine.onEvent = [](const std::wstring&) {};
}

TEST_F(ProfileManagerTest, WhatWasLeftUndoneForWantOfAnAgentIsDoneWhenOneComes) {
    WriteProfiles(
        R"({"SystemActions":[],"Disabled":{},"Work":{},"Movie":{},"Battery":{},"Game":{"VisualFX":2}})");
    m_machine.values[L"VisualFX"] = 7;
    Start(true);
    for (const uint32_t code : {ERROR_BUSY, ERROR_TIMEOUT, ERROR_NOT_FOUND}) {
        ASSERT_EQ(Set(profile::Game), 0U);
        m_machine.stuck = L"VisualFX";
        m_machine.stuckCode = code;
        ASSERT_EQ(Set(profile::Disabled), 0U);
        EXPECT_EQ(m_machine.values[L"VisualFX"], 2);
        m_machine.stuck.clear();
        m_manager.OnAgentArrived();
        EXPECT_EQ(m_host.queue.RunAll(), code == ERROR_BUSY ? 0U : 1U) << code;
        EXPECT_EQ(m_machine.values[L"VisualFX"], code == ERROR_BUSY ? 2 : 7) << code;
    }
    m_manager.OnAgentArrived();
    EXPECT_EQ(m_host.queue.RunAll(), 0U) << "nothing is left to do";
}

TEST_F(ProfileManagerTest, ARequestThatIsOnlyRememberedOrRefusedCutsNothingShort) {
    for (const bool refused : {false, true}) {
        SCOPED_TRACE(refused);
        Start(true);
        ASSERT_EQ(Set(profile::Game), 0U);
        // The way back is posted and hasn't begun when the next request comes.
        if (refused) {
            profile disabled = profile::Disabled;
            EXPECT_EQ(m_manager.SetProfile(&disabled), 0U);
            auto none = static_cast<profile>(5);
            EXPECT_EQ(m_manager.SetProfile(&none), uint32_t{ERROR_INVALID_PARAMETER});
        } else {
            EXPECT_EQ(m_manager.SetModuleState(0), 0U);
            profile work = profile::Work;
            EXPECT_EQ(m_manager.SetProfile(&work), 0U);
        }
        m_host.queue.RunAll();
        for (const auto& [name, value] : m_machine.values)
            EXPECT_EQ(value, 7) << static_cast<char>(name[0]);
        ASSERT_EQ(m_manager.Stop(), 0U);
    }
}

TEST_F(ProfileManagerTest, AChoiceThatALogonOvertakesIsKept) {
    Start(true);
    profile game = profile::Game;
    ASSERT_EQ(m_manager.SetProfile(&game), 0U);
    m_manager.OnLogon(0, L"DOM\\ann");
    m_host.queue.RunAll();
    EXPECT_EQ(Active(), profile::Game);
    EXPECT_EQ(m_machine.values[L"A"], 2);
    EXPECT_EQ(Set(profile::Disabled), 0U);
}

TEST_F(ProfileManagerTest, TheActiveProfileIsRefusedWithoutActionsOrEvents) {
    Start(true);
    ASSERT_EQ(Set(profile::Work), 0U);
    TakeLog();
    m_heard.Take();
    EXPECT_EQ(Set(profile::Work), uint32_t{ERROR_ALREADY_EXISTS});
    EXPECT_TRUE(m_heard.all.empty());
    EXPECT_TRUE(TakeLog().empty());
    EXPECT_EQ(m_manager.SetModuleState(1), 0U) << "the state it has already";

    profile work = profile::Work;
    EXPECT_EQ(m_manager.SetProfileConfig(&work, LR"({"B":{"active":false}})"), 0U);
    m_host.queue.RunAll();
    EXPECT_EQ(TakeLog(), (Log{L"revert B", L"update A"}))
        << "the active profile's config takes effect at once";
}

TEST_F(ProfileManagerTest, ALogonRestoresWhatThatUserLeft) {
    Start(true);
    ASSERT_EQ(Set(profile::Game), 0U);
    TakeLog();
    m_heard.Take();

    test_support::SetSimulatedUser(L"DOM", L"bob");
    m_manager.OnLogon(0, L"DOM\\bob");
    m_host.queue.RunAll();
    EXPECT_EQ(m_heard.Take(), (std::vector<std::string>{"off", "applied 0", "executed 0"}))
        << "bob stored nothing";
    EXPECT_EQ(Active(), profile::Disabled);
    EXPECT_EQ(m_machine.values[L"A"], 7);

    test_support::SetSimulatedUser(L"DOM", L"ann");
    m_manager.OnLogon(0, L"DOM\\ann");
    m_host.queue.RunAll();
    EXPECT_EQ(m_heard.Take(), (std::vector<std::string>{"on", "applied 2", "executed 2"}));
    EXPECT_EQ(m_machine.values[L"A"], 2);
    EXPECT_EQ(Set(profile::Disabled), 0U);
    for (const auto& [name, value] : m_machine.values)
        EXPECT_EQ(value, 7) << static_cast<char>(name[0]);
}

}  // namespace
}  // namespace optimizer
