// One change of profile: what runs, in which order, and what stands on disk at every moment in between.
#include "profile/optimizer_profile.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <thread>

#include <windows.h>

#include "frame/uninstall_event.h"
#include "settings/iprofiles_settings.h"
#include "tests/profile/engine_fixture.h"
#include "tests/support/simulated_users.h"

namespace optimizer {
namespace {

using test_support::RecordingFactory;
using Log = std::vector<std::wstring>;

struct Executed final : IOptimizerProfileObserver {
    void OnActionsExecuted(const profiles::profile* executed) override { all.push_back(*executed); }
    std::vector<profiles::profile> all;
};

class OptimizerProfileTest : public test_support::EngineFixture {
protected:
    void Make() { m_runner = std::make_unique<OptimizerProfile>(&m_host, &m_executed, &RecordingFactory); }
    void Run(profile wanted) {
        static_cast<void>(m_runner->StoreChoice(&wanted));
        EXPECT_EQ(m_runner->Start(&wanted), 0U);
        EXPECT_EQ(m_host.queue.RunAll(), 1U);
    }
    /// Starts over with nothing but what is on disk.
    void Restart(bool runRestore = true) {
        m_runner.reset();
        m_machine.log.clear();
        Make();
        profile last = profile::Disabled;
        EXPECT_EQ(m_runner->RestoreLastProfile(&last, true), 0U);
        if (runRestore) m_host.queue.RunAll();
    }
    /// Runs what is posted on a thread of its own and stops the run while it is inside `event`.
    void CutShortAt(const std::wstring& event) {
        const KernelHandle reached(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        const KernelHandle stopped(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        m_machine.onEvent = [&](const std::wstring& next) {
            if (next.starts_with(L"stop")) SetEvent(stopped.Get());
            if (next != event) return;
            SetEvent(reached.Get());
            EXPECT_EQ(WaitForSingleObject(stopped.Get(), 10000), WAIT_OBJECT_0);
        };
        std::thread queueThread([this] { m_host.queue.RunAll(); });
        EXPECT_EQ(WaitForSingleObject(reached.Get(), 10000), WAIT_OBJECT_0);
        EXPECT_EQ(m_runner->Stop(), 0U);
        queueThread.join();
        m_machine.onEvent = [](const std::wstring&) {};
    }
    void ExpectPutBack() {
        for (const auto& [name, value] : m_machine.values)
            EXPECT_EQ(value, 7) << static_cast<char>(name[0]);
        EXPECT_EQ(SystemFile().find(":7"), std::string::npos) << SystemFile();
        EXPECT_EQ(UserFile().find(":7"), std::string::npos) << UserFile();
    }

    Executed m_executed;
    std::unique_ptr<OptimizerProfile> m_runner;
};

TEST_F(OptimizerProfileTest, EachNoteIsOnDiskBeforeItsActionChangesAnything) {
    Make();
    m_machine.onEvent = [this](const std::wstring& event) {
        if (event == L"start A") {
            EXPECT_NE(SystemFile().find(R"({"A":7})"), std::string::npos) << SystemFile();
        }
        if (event == L"start D") {
            EXPECT_NE(SystemFile().find(R"({"A":7,"B":7,"C":7})"), std::string::npos) << SystemFile();
            EXPECT_NE(UserFile().find(R"({"D":7})"), std::string::npos) << UserFile();
        }
    };
    Run(profile::Game);
    EXPECT_EQ(TakeLog(), (Log{L"start A", L"start B", L"start C", L"start D"}));
    EXPECT_NE(UserFile().find(R"("Disabled":{"D":7})"), std::string::npos)
        << "D isn't the machine's: " << UserFile();
    EXPECT_EQ(m_machine.created, 4) << "the second list holds the same names, and constructors have effects";

    Run(profile::Work);
    EXPECT_EQ(TakeLog(), (Log{L"revert C", L"revert D", L"update A", L"update B"}));
    EXPECT_NE(SystemFile().find(R"({"A":7,"B":7})"), std::string::npos) << "updates keep the first values";
    Run(profile::Disabled);
    EXPECT_EQ(m_executed.all, (std::vector{profile::Game, profile::Work, profile::Disabled}));
    ExpectPutBack();
}

TEST_F(OptimizerProfileTest, ARestoreKeepsTheFirstValuesAlsoWhenAnotherProfileCutsItShort) {
    for (const profile next : {profile::Disabled, profile::Work, profile::Battery}) {
        SCOPED_TRACE(static_cast<int>(next));
        Make();
        Run(profile::Game);
        Restart();
        EXPECT_EQ(TakeLog(), (Log{L"start A", L"start B", L"start C", L"start D"}));
        EXPECT_NE(SystemFile().find(R"({"A":7,"B":7,"C":7})"), std::string::npos) << SystemFile();

        Restart(false);
        CutShortAt(L"start A");
        EXPECT_EQ(m_machine.log, (Log{L"start A"}));
        Run(next);
        if (next != profile::Disabled) {
            EXPECT_EQ(m_machine.values[L"C"], 7) << "noted, and no part of the new profile";
            Run(profile::Disabled);
        }
        ExpectPutBack();
        m_runner.reset();
    }
}

TEST_F(OptimizerProfileTest, AHalfRevertedMachineIsPutRightOnceAndForAll) {
    Make();
    Run(profile::Game);
    // As a kill between two reverts leaves it: "Disabled" is stored, and three notes are still there.
    constexpr profile kDisabled = profile::Disabled;
    m_settings.GetProfilesSettings()->SetActiveProfile(&kDisabled);
    for (int start = 0; start < 3; ++start) {
        Restart();
        ExpectPutBack();
    }
    Run(profile::Game);
    Run(profile::Disabled);
    ExpectPutBack();
}

TEST_F(OptimizerProfileTest, ANoteGoesOnlyWhenItsValueIsBack) {
    Make();
    Run(profile::Game);
    constexpr profile kDisabled = profile::Disabled;
    m_settings.GetProfilesSettings()->SetActiveProfile(&kDisabled);
    m_machine.failing = L"B";
    Restart();
    EXPECT_NE(SystemFile().find(R"("Disabled":{"B":7})"), std::string::npos) << SystemFile();
    Restart(false);
    CutShortAt(L"start B");
    EXPECT_NE(SystemFile().find(R"("Disabled":{"B":7})"), std::string::npos) << SystemFile();
    m_machine.failing.clear();
    Run(profile::Disabled);
    ExpectPutBack();
}

TEST_F(OptimizerProfileTest, ANoteThatDoesNotFitOrCannotBeReadIsNotTakenForNone) {
    Make();
    Run(profile::Game);
    m_machine.unfit = L"A";
    TakeLog();
    Restart();
    EXPECT_EQ(TakeLog(), (Log{L"start A", L"start A", L"start B", L"start C", L"start D"})) << "back, anew";
    m_machine.failing = L"A";
    Restart();
    EXPECT_EQ(TakeLog(), (Log{L"start A", L"start B", L"start C", L"start D"})) << "A waits for its note";
    m_machine.failing.clear();
    {
        const std::wstring path = File(L"system_restore_profile.json");
        std::filesystem::remove(path + L".copy");
        const optimizer::FileHandle held(
            CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
        Restart();
        EXPECT_EQ(TakeLog(), (Log{L"start D"})) << "nobody can tell what there is to return to but for D";
        EXPECT_NE(m_runner->Report().ToJson().find(R"("notes":"system","step":"read")"), std::string::npos)
            << m_runner->Report().ToJson();
    }
    EXPECT_NE(SystemFile().find(R"({"A":7,"B":7,"C":7})"), std::string::npos) << SystemFile();
    Run(profile::Disabled);
    ExpectPutBack();
}

TEST_F(OptimizerProfileTest, AnUninstallPutsBackFromEveryState) {
    const KernelHandle uninstall = OpenUninstallEvent();
    const std::pair<const char*, std::function<void()>> kStates[] = {
        {"in force", [] {}},
        {"restored", [this] { Restart(); }},
        {"restore not begun", [this] { Restart(false); }},
        {"restore cut short", [this] { Restart(false), CutShortAt(L"start B"); }},
        {"no run since the start", [this] { m_runner.reset(), Make(); }},
        {"another profile as the first run", [this] { m_runner.reset(), Make(), Run(profile::Battery); }},
    };
    for (const auto& [name, reach] : kStates) {
        SCOPED_TRACE(name);
        Make();
        Run(profile::Game);
        reach();
        SetEvent(uninstall.Get());
        m_runner.reset();
        ExpectPutBack();
        EXPECT_EQ(m_executed.all.back(), profile::Disabled);
    }
}

TEST_F(OptimizerProfileTest, StoppedBeforeItBeginsARunChangesNothingAndIsToldAnyway) {
    Make();
    profile wanted = profile::Game;
    ASSERT_EQ(m_runner->Start(&wanted), 0U);
    wanted = profile::Work;
    EXPECT_EQ(m_runner->Start(&wanted), 0U) << "dropped: a change runs";
    EXPECT_EQ(m_host.queue.Pending().size(), 1U);
    EXPECT_EQ(m_runner->Stop(), 0U);
    EXPECT_TRUE(m_machine.log.empty());
    EXPECT_EQ(UserFile(), "");
    EXPECT_EQ(m_executed.all, (std::vector{profile::Game}));
    EXPECT_EQ(m_host.queue.openHandles, 0);

    m_host.queue.postError = 5;
    EXPECT_EQ(m_runner->Start(&wanted), uint32_t{ERROR_INVALID_HANDLE}) << "no handle came back";
}

TEST_F(OptimizerProfileTest, WhatCannotBeNotedIsNotChanged) {
    Make();
    const std::wstring path = File(L"system_restore_profile.json");
    rig::WriteFileText(path, "{}");
    // As a scanner or a backup holds it: it can be read and not written.
    FileHandle held(
        CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    m_machine.unnoted = L"D";
    Run(profile::Game);
    EXPECT_EQ(TakeLog(), Log{});
    const std::string report = m_runner->Report().ToJson();
    for (const char* const problem : {R"({"action":"A","code":32,"notes":"","step":"store"})",
                                      R"({"action":"C","code":32,"notes":"","step":"store"})",
                                      R"({"action":"D","code":31,"notes":"","step":"note"})"})
        EXPECT_NE(report.find(problem), std::string::npos) << report;
    held.Reset();
    m_machine.unnoted.clear();
    Run(profile::Game);
    EXPECT_EQ(TakeLog(), (Log{L"start A", L"start B", L"start C", L"start D"}));
    EXPECT_TRUE(m_runner->Report().IsSettled(profile::Game));

    m_machine.unnoted = L"B";
    Run(profile::Work);
    EXPECT_EQ(TakeLog(), (Log{L"revert C", L"revert D", L"update A"})) << "an update needs its note too";
    m_machine.unnoted.clear();
    Run(profile::Disabled);
    ExpectPutBack();
}

TEST_F(OptimizerProfileTest, ASettingsFolderThatVanishesInTheMiddleStopsTheChangesButNotTheWayBack) {
    Make();
    m_machine.onEvent = [this](const std::wstring& event) {
        if (event == L"start B") std::filesystem::remove_all(File(L""));
    };
    Run(profile::Game);
    EXPECT_EQ(TakeLog(), (Log{L"start A", L"start B"}));
    EXPECT_NE(m_runner->Report().ToJson().find(R"({"action":"C","code":3,"notes":"","step":"store"})"),
              std::string::npos)
        << m_runner->Report().ToJson();
    Run(profile::Disabled);
    ExpectPutBack();
    profile work = profile::Work;
    EXPECT_EQ(m_runner->StoreChoice(&work), uint32_t{ERROR_PATH_NOT_FOUND});
}

TEST_F(OptimizerProfileTest, AWayBackThatFailsKeepsItsNoteAndIsTriedAgain) {
    Make();
    Run(profile::Game);
    m_machine.stuck = L"B";
    Run(profile::Disabled);
    EXPECT_FALSE(m_runner->Report().IsSettled(profile::Disabled));
    EXPECT_NE(SystemFile().find(R"("Disabled":{"B":7})"), std::string::npos) << SystemFile();
    TakeLog();
    Run(profile::Game);
    EXPECT_EQ(TakeLog(), (Log{L"start A", L"start B", L"start C", L"start D"}));
    EXPECT_NE(SystemFile().find(R"({"A":7,"B":7,"C":7})"), std::string::npos) << "still the first value";
    m_machine.stuck.clear();
    Run(profile::Disabled);
    EXPECT_TRUE(m_runner->Report().IsSettled(profile::Disabled));
    ExpectPutBack();
}

TEST_F(OptimizerProfileTest, TheActionsThatShipWithDisabledRunWithNotesOfTheirOwn) {
    WriteProfiles(R"({"SystemActions":["A"],"Disabled":{"A":5},"Game":{"A":2,"B":2}})");
    Make();
    Run(profile::Game);
    TakeLog();
    Run(profile::Disabled);
    EXPECT_EQ(TakeLog(), (Log{L"revert B", L"update A"}));
    EXPECT_NE(SystemFile().find(R"({"A":7})"), std::string::npos) << SystemFile();
    Restart();
    EXPECT_EQ(TakeLog(), (Log{L"start A"}));
    EXPECT_EQ(m_machine.values[L"A"], 5);
    SetEvent(OpenUninstallEvent().Get());
    m_runner.reset();
    ExpectPutBack();
}

TEST_F(OptimizerProfileTest, EachUserGetsTheOwnValuesBack) {
    Make();
    Run(profile::Game);  // D is the user's
    test_support::SetSimulatedUser(L"DOM", L"bob");
    m_machine.values[L"D"] = 8;  // as bob has it
    Run(profile::Game);
    EXPECT_NE(UserFile().find(R"({"D":7})"), std::string::npos) << UserFile();
    const std::string bobs = rig::ReadFileText(File(L"DOM_bob_restore_profile.json"));
    EXPECT_NE(bobs.find(R"({"D":8})"), std::string::npos) << bobs;
    Run(profile::Disabled);
    EXPECT_EQ(m_machine.values[L"D"], 8);
    EXPECT_EQ(m_machine.values[L"A"], 7);
    test_support::SetSimulatedUser(L"DOM", L"ann");
    m_machine.values[L"D"] = 2;  // as ann left it
    Run(profile::Disabled);
    ExpectPutBack();

    // An uninstall brings back what is noted for whoever isn't here.
    Run(profile::Game);
    test_support::SetSimulatedUser(L"DOM", L"bob");
    SetEvent(OpenUninstallEvent().Get());
    m_runner.reset();
    ExpectPutBack();
    test_support::SetSimulatedUser(L"DOM", L"ann");
}

TEST_F(OptimizerProfileTest, TheUsersConfigDecidesWhatIsActive) {
    struct Case {
        const char* config;
        const char* name;
        profile wanted;
        bool active;
    };
    constexpr Case kCases[] = {
        {"{}", "A", profile::Work, true},
        {"{}", "PostponeWindowsUpdate", profile::Work, false},
        {"{}", "PostponeWindowsUpdate", profile::Game, true},
        {R"({"PostponeWindowsUpdate":{"active":true}})", "PostponeWindowsUpdate", profile::Work, true},
        {R"({"A":{"active":false}})", "A", profile::Game, false},
        {R"({"A":{"active":"no"}})", "A", profile::Game, true},
        {R"({"A":false})", "A", profile::Game, true},
        {"[]", "A", profile::Game, true},
    };
    for (const Case& one : kCases) {
        picojson::value config;
        ASSERT_EQ(picojson::parse(config, one.config), "");
        EXPECT_EQ(IsActionActive(config, one.name, one.wanted), one.active) << one.config << " " << one.name;
    }
    Make();
    profile game = profile::Game;
    ASSERT_EQ(m_runner->SetProfileConfig(&game, LR"({"A":{"active":false},"D":{"active":false}})"), 0U);
    Run(profile::Game);
    EXPECT_EQ(TakeLog(), (Log{L"start B", L"start C"}));
    EXPECT_EQ(m_runner->SetProfileConfig(&game, L"{broken"), uint32_t{ERROR_GEN_FAILURE});
}

}  // namespace
}  // namespace optimizer
