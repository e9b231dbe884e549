// The user's session through the real host and agent: visual effects as the system tells them to a process
// that asks anew, notifications as the registry has them.
#include <memory>

#include <gtest/gtest.h>
#include <windows.h>

#include "border/connector.h"
#include "frame/exported_object.h"
#include "frame/handles.h"
#include "host/plugin_host/service_presence.h"
#include "tools/rig/child_process.h"
#include "tools/rig/installation.h"
#include "tools/rig/user_session.h"

namespace {

using rig::AllEffects;
using rig::ChildProcess;
using rig::EffectValues;
using rig::RunProgram;
using rig::UserSession;

/// The effect that the profile leaves as it was found: only there a hand's value differs from both.
constexpr const char* kByHand = "gradient_captions";

EffectValues Opposite(EffectValues values) {
    for (auto& [key, value] : values) {
        // Wine takes this one and keeps it as it is.
        if (key != "minimize_animations" && key != kByHand) value = value == 0 ? 1 : 0;
    }
    return values;
}

std::string Profiles(const EffectValues& wanted) {
    std::string effects;
    for (const auto& [key, value] : wanted) {
        effects += effects.empty() ? "" : ",";
        effects += R"({"name":")" + key + R"(","action":)" + std::to_string(value) + "}";
    }
    const std::string quiet = R"("BlockWinNotification":{"BlockStatus":"enabled"},"DisableBalloon":{})";
    // Of those of "Game"; the others come with an update.
    const std::string flat =
        R"({"name":"flat_menus","action":)" + std::to_string(wanted.at("flat_menus")) + "}";
    return R"({"SystemActions":["BlockWinNotification","DisableBalloon","VisualFX"],"Disabled":{},"Work":{},
               "Battery":{"VisualFX":[)" +
           flat + R"(]},"Movie":{)" + quiet + R"(},"Game":{)" + quiet + R"(,"VisualFX":[)" + effects + "]}}";
}

class HostSession : public testing::Test {
protected:
    ~HostSession() override { UserSession::ForgetNotifications(); }

    bool Control(const std::wstring& arguments) const {
        return RunProgram(m_installation.Control(arguments)).exitCode == 0;
    }
    bool Enter(const std::wstring& profile) const { return Control(L"profile set --wait " + profile); }
    /// An agent that has just been started may miss the first change; the note tells that it answered.
    bool EntersGame() const {
        for (int attempt = 0; attempt < 5; ++attempt) {
            if (!Enter(L"Work") || !Enter(L"Game")) return false;
            if (m_installation.SystemRevertList().find("\"action\"") != std::string::npos) return true;
        }
        return false;
    }

    UserSession m_session{L"win10"};
    EffectValues m_before = UserSession::Effects(AllEffects());
    EffectValues m_inGame = Opposite(m_before);
    rig::Installation m_installation{Profiles(m_inGame)};
};

TEST_F(HostSession, EverythingComesBackButWhatAHandChanged) {
    ChildProcess host(m_installation.Host(L"console"));
    ASSERT_TRUE(host.WaitForLine("ready"));
    ChildProcess agent(m_installation.Agent(L"run"));
    ASSERT_TRUE(Control(L"module on"));
    ASSERT_TRUE(EntersGame());
    EXPECT_EQ(UserSession::Effects(AllEffects()), m_inGame);
    EXPECT_EQ(UserSession::ToastPolicy(), 1);
    EXPECT_EQ(UserSession::Balloons(), 0);
    ASSERT_TRUE(Enter(L"Work"));
    EXPECT_TRUE(UserSession::Reaches(m_before));
    ASSERT_TRUE(Enter(L"Battery"));
    ASSERT_TRUE(Enter(L"Game"));
    EXPECT_EQ(UserSession::Effects(AllEffects()), m_inGame);

    EffectValues after = m_before;
    after[kByHand] = m_before.at(kByHand) == 0 ? 1 : 0;
    UserSession::SetEffect(kByHand, after[kByHand]);
    ASSERT_TRUE(Enter(L"Disabled"));
    EXPECT_TRUE(UserSession::Reaches(after));
    EXPECT_EQ(UserSession::ToastPolicy(), -1);
    EXPECT_EQ(UserSession::Balloons(), 1);
    EXPECT_EQ(host.Finish(), 0U);
    UserSession::SetEffect(kByHand, m_before.at(kByHand));
}

TEST_F(HostSession, AnAgentThatComesLateBringsTheEffectsBackByItself) {
    ChildProcess host(m_installation.Host(L"console"));
    ASSERT_TRUE(host.WaitForLine("ready"));
    {
        const ChildProcess agent(m_installation.Agent(L"run"));
        ASSERT_TRUE(Control(L"module on"));
        ASSERT_TRUE(EntersGame());
    }
    EXPECT_FALSE(Enter(L"Disabled")) << "nobody is there to do it";
    EXPECT_EQ(UserSession::Effects(AllEffects()), m_inGame);
    const ChildProcess agent(m_installation.Agent(L"run"));
    EXPECT_TRUE(UserSession::Reaches(m_before));
    EXPECT_EQ(host.Finish(), 0U);
}

TEST_F(HostSession, UninstallPutsTheSessionBackFromARunningAStoppedAndAKilledService) {
    for (const std::string how : {"running", "stopped", "killed"}) {
        SCOPED_TRACE(how);
        ASSERT_EQ(RunProgram(m_installation.Host(L"install")).exitCode, 0U);
        std::unique_ptr<ChildProcess> host;
        if (how == "running") {
            ASSERT_EQ(RunProgram(L"sc.exe start OptimizerHost").exitCode, 0U);
        } else {
            host = std::make_unique<ChildProcess>(m_installation.Host(L"console"));
            ASSERT_TRUE(host->WaitForLine("ready"));
        }
        const ChildProcess agent(m_installation.Agent(L"run"));
        ASSERT_TRUE(Control(L"module on"));
        ASSERT_TRUE(EntersGame());
        EXPECT_EQ(UserSession::Effects(AllEffects()), m_inGame);
        if (how == "stopped") {
            EXPECT_EQ(host->Finish(), 0U);
        }
        host.reset();  // kills what still runs
        // Nobody but a running engine goes by the event, whose name anybody may take.
        const optimizer::KernelHandle squatter(
            how == "killed"
                ? CreateMutexW(nullptr, FALSE, L"Global\\VXOptimizer-E1AAA9B3-4250-4B54-B272-A4B6F6ADB63C")
                : nullptr);
        EXPECT_EQ(RunProgram(m_installation.Host(L"uninstall")).exitCode, 0U);
        EXPECT_TRUE(UserSession::Reaches(m_before));
        EXPECT_EQ(UserSession::ToastPolicy(), -1);
        EXPECT_EQ(UserSession::Balloons(), 1);
    }
}

TEST_F(HostSession, SystemsBeforeWindows8KeepTheirToastsAndLoseTheirBalloons) {
    for (const wchar_t* const version : {L"win7", L"winxp64"}) {
        const UserSession older(version);
        ChildProcess host(m_installation.Host(L"console"));
        ASSERT_TRUE(host.WaitForLine("ready"));
        ASSERT_TRUE(Control(L"module on"));
        for (const auto& [profile, balloons] : {std::pair(L"Movie", 0), {L"Disabled", 1}}) {
            ASSERT_TRUE(Enter(profile));
            EXPECT_EQ(UserSession::ToastPolicy(), -1);
            EXPECT_EQ(UserSession::Balloons(), balloons);
        }
        EXPECT_EQ(host.Finish(), 0U);
    }
}

/// The service's end of the agents' pipe alone, for an agent that takes this process for the service.
TEST_F(HostSession, AnAgentWhoseConnectionIsCutComesBack) {
    host::ServicePresence presence;
    presence.Take();
    optimizer::ExportedObject<IConnectorServer> servers;
    ASSERT_EQ(servers.Load(m_installation.File(L"connector.dll"), L"connserver"), 0U);
    const optimizer::KernelHandle started(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    ConnectorCallback* const receive = [](void* context, const ConnectorMessage* message) -> uint32_t {
        if (message->id == 3) SetEvent(context);
        return 0;
    };
    ChildProcess agent(m_installation.Agent(L"run"));
    for (int connection = 0; connection < 2; ++connection) {
        ConnectorEndpoint* const end = servers.Get()->registerPipe(L"optimizeragentpipe", kCommonPipeName);
        ASSERT_NE(end, nullptr);
        end->setCallback(receive, started.Get(), 1);
        EXPECT_EQ(WaitForSingleObject(started.Get(), 20000), WAIT_OBJECT_0) << connection;
        servers.Get()->unregisterPipe(end);
    }
}

}  // namespace
