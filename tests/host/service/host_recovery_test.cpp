// The machine comes back from wherever the host was ended: real services, the real host as a process of its
// own, and a simulated power library whose values outlive a kill.
#include <iostream>
#include <memory>

#include <gtest/gtest.h>

#include <picojson.h>

#include "tools/rig/child_process.h"
#include "tools/rig/installation.h"
#include "tools/rig/scratch_services.h"
#include "tools/rig/user_value.h"
#include "tests/support/update_agent.h"

namespace {

using rig::ChildProcess;
using rig::Installation;
using rig::ScratchServices;
using rig::ServiceState;

constexpr GUID kSleep = {0x238C9FA8, 0x0AAD, 0x41ED, {0x83, 0xF4, 0x97, 0xBE, 0x24, 0x2C, 0x8F, 0x20}};
constexpr GUID kHibernateEnabled = {
    0x94AC6D29, 0x73CE, 0x41A6, {0x80, 0x9F, 0x63, 0x63, 0xBA, 0x21, 0xB4, 0x7E}};
constexpr GUID kHibernateTimeout = {
    0x9D7815A6, 0x7EE4, 0x497E, {0x88, 0x88, 0x51, 0x5A, 0x05, 0xF0, 0x23, 0x64}};

constexpr GUID kVideo = {0x7516B95F, 0xF776, 0x4464, {0x8C, 0x53, 0x06, 0x16, 0x7F, 0x40, 0xCC, 0x99}};
constexpr GUID kBrightness = {0xADED5E82, 0xB909, 0x4619, {0x99, 0x49, 0xF5, 0xD7, 0x1D, 0xAC, 0x0B, 0xCB}};

constexpr ServiceState kRunning = {SERVICE_RUNNING, SERVICE_AUTO_START};
constexpr ServiceState kStoppedManual = {SERVICE_STOPPED, SERVICE_DEMAND_START};
constexpr ServiceState kPaused = {SERVICE_PAUSED, SERVICE_DEMAND_START};
constexpr ServiceState kStoppedDisabled = {SERVICE_STOPPED, SERVICE_DISABLED};

std::string Narrow(const std::wstring& text) {
    return {text.begin(), text.end()};  // the names here are ASCII
}

constexpr const wchar_t* kHostKey = L"Software\\Wine\\AppDefaults\\optimizerhost.exe";

/// Three services of which "Game" wants something else, and before them, in the order of names, the actions
/// on Bluetooth (there is no adapter), on hibernation, on the power plan and on USB disks (there are none).
class HostRecovery : public testing::Test {
protected:
    HostRecovery() {
        constexpr uint32_t kFound[] = {0, 41, 0, 43, 80, 4, 0xFFFFFFFF};  // the last is VARIANT_TRUE
        for (size_t i = 0; i < m_powerValues.size(); ++i)
            m_power.Set(m_powerValues[i], kFound[i]);
        m_services.Add(L"recover_a", kRunning);
        m_services.Add(L"recover_b", kStoppedManual);
        m_services.Add(L"recover_c", kPaused);
        m_before = m_services.QueryAll();
        m_powerBefore = Power();
        m_installation = std::make_unique<Installation>(_Profiles());
        m_installation->UseSimulatedPower();
        m_installation->UseSimulatedUpdateAgent();
    }

    ~HostRecovery() override {
        for (const auto& [value, inGameValue] : m_sessionValues)
            value.Remove();
        RegDeleteKeyValueW(HKEY_CURRENT_USER, kHostKey, L"Version");
    }

    std::vector<uint32_t> Power() const {
        std::vector<uint32_t> values;
        for (const std::wstring& name : m_powerValues)
            values.push_back(m_power.Get(name).value_or(0));
        for (const auto& [value, inGameValue] : m_sessionValues)
            values.push_back(value.Read());
        return values;
    }

    std::unique_ptr<ChildProcess> StartConsole() {
        auto host = std::make_unique<ChildProcess>(m_installation->Host(L"console"));
        EXPECT_TRUE(host->WaitForLine("ready"));
        return host;
    }

    /// Runs the command line tool; true when it says that it is done.
    bool Control(const std::wstring& arguments) const {
        const rig::ProgramRun run = rig::RunProgram(m_installation->Control(arguments));
        for (const std::string& line : run.lines)
            std::cout << "optimizerctl: " << line << "\n";
        return run.exitCode == 0;
    }

    bool Enter(const std::wstring& profile) const { return Control(L"profile set --wait " + profile); }

    bool IsActive(const std::string& profile) const {
        const rig::ProgramRun run = rig::RunProgram(m_installation->Control(L"profile get"));
        return run.exitCode == 0 && run.lines.front().find(profile) != std::string::npos;
    }

    /// Turns the module on and "Game" too, and waits until the services have followed.
    void EnterGame() {
        ASSERT_TRUE(Control(L"module on"));
        ASSERT_TRUE(Enter(L"Game"));
        EXPECT_TRUE(ReachesGame());
    }

    /// A step that a busy machine overtakes keeps the services' queue until the next change of profile.
    bool ReachesGame() const {
        for (int attempt = 0; attempt < 3; ++attempt) {
            if (IsInGame()) return true;
            if (!Enter(L"Work") || !Enter(L"Game")) return false;
        }
        return IsInGame();
    }

    /// Has "Game" hold every action that there is. An agent must run for the visual effects.
    void UseEveryAction() {
        m_sessionValues = {
            {{L"Software\\Policies\\Microsoft\\Windows\\CurrentVersion\\PushNotifications",
              L"NoToastApplicationNotification"},
             1},
            {{L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Advanced", L"EnableBalloonTips"}, 0},
            {{L"Control Panel\\Desktop", L"FontSmoothing"}, L'0'}};
        m_sessionValues[1].first.Write(1, REG_DWORD);
        m_sessionValues[2].first.Write(L'2', REG_SZ);
        RegCreateKeyW(HKEY_CURRENT_USER,
                      L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\VisualEffects",
                      optimizer::RegistryKey().Receive());
        // Older systems know no notifications to block, and Wine calls itself older.
        RegSetKeyValueW(HKEY_CURRENT_USER, kHostKey, L"Version", REG_SZ, L"win8", sizeof(L"win8"));
        m_powerBefore = Power();
        std::string profiles = _Profiles();
        profiles.insert(profiles.find("\"Bluetooth"), "\"BlockWinNotification\",\"VisualFX\",");
        profiles.insert(profiles.find("\"UsbDevices"),
                        "\"BlockWinNotification\":{\"BlockStatus\":\"enabled\"},\"DisableBalloon\":{},"
                        "\"VisualFX\":[{\"name\":\"smooth_edge_fonts\",\"action\":0}],"
                        "\"WindowsProcesses\":{\"settings\":[]},");
        rig::WriteFileText(m_installation->SettingsFile(L"profiles.json"), profiles);
    }

    bool IsInGame() const {
        std::vector<uint32_t> inGame = {1, 111, 1, 222, 40, 1, 0};
        for (const auto& [value, inGameValue] : m_sessionValues)
            inGame.push_back(inGameValue);
        return m_services.Reaches(m_services.Names()[0], kStoppedDisabled) &&
               m_services.Reaches(m_services.Names()[1], kRunning) &&
               m_services.Reaches(m_services.Names()[2], kRunning) &&
               rig::WaitUntil([&] { return Power() == inGame; });
    }

    void ExpectPutBack() const {
        for (size_t i = 0; i < m_before.size(); ++i) {
            EXPECT_TRUE(m_services.Reaches(m_services.Names()[i], m_before[i]))
                << Narrow(m_services.Names()[i]) << " is "
                << Narrow(ToText(m_services.Query(m_services.Names()[i])));
        }
        EXPECT_TRUE(rig::WaitUntil([this] { return Power() == m_powerBefore; }));
        EXPECT_TRUE(rig::WaitUntil([this] {
            return m_installation->SystemRevertList().find("\"Disabled\":{}") != std::string::npos;
        })) << m_installation->SystemRevertList();
    }

    test_support::SimulatedPower m_power;
    const std::vector<std::wstring> m_powerValues = {
        test_support::SimulatedPower::ValueName(kSleep, kHibernateEnabled, true),
        test_support::SimulatedPower::ValueName(kSleep, kHibernateTimeout, true),
        test_support::SimulatedPower::ValueName(kSleep, kHibernateEnabled, false),
        test_support::SimulatedPower::ValueName(kSleep, kHibernateTimeout, false),
        test_support::SimulatedPower::ValueName(kVideo, kBrightness, true),
        test_support::kUpdateLevel,
        test_support::kUpdateRecommended};
    std::vector<std::pair<rig::UserValue, uint32_t>> m_sessionValues;  // each with what it is in "Game"
    ScratchServices m_services;
    std::vector<ServiceState> m_before;
    std::vector<uint32_t> m_powerBefore;
    std::unique_ptr<Installation> m_installation;

private:
    std::string _Profiles() const {
        const auto service = [this](size_t i, const char* status, const char* startup) {
            return "{\"name\":\"" + Narrow(m_services.Names()[i]) + "\",\"status\":\"" + status +
                   "\",\"startup\":\"" + startup + "\"}";
        };
        return "{\"SystemActions\":[\"Bluetooth\",\"HibernateOnBattery\",\"HibernateOnCable\","
               "\"PowerPlanAction\",\"PostponeWindowsUpdate\",\"WindowsServices\"],"
               "\"Disabled\":{},"
               "\"Work\":{},\"Movie\":{},\"Battery\":{},\"Game\":{"
               "\"HibernateOnBattery\":{\"active\":true,\"time\":111},"
               "\"HibernateOnCable\":{\"active\":true,\"time\":222},"
               "\"Bluetooth\":{\"status\":\"OFF\"},\"UsbDevices\":{},"
               "\"PowerPlanAction\":{\"OnBattery\":1,\"BrightnessLevel\":40},"
               "\"PostponeWindowsUpdate\":{\"AutomaticUpdateLevel\":1,\"RecommendedUpdates\":0},"
               "\"WindowsServices\":[" +
               service(0, "STOPPED", "DISABLED") + "," + service(1, "RUNNING", "AUTOMATIC") + "," +
               service(2, "RUNNING", "AUTOMATIC") + "]}}";
    }
};

TEST_F(HostRecovery, EveryActionRunsInOneChangeAndComesBackAlsoAfterAKill) {
    UseEveryAction();
    ASSERT_TRUE(m_installation->StartAgent());
    auto host = StartConsole();
    EnterGame();
    ASSERT_TRUE(Enter(L"Disabled"));
    ExpectPutBack();
    EXPECT_EQ(host->Finish(), 0U);

    host = StartConsole();
    m_power.Set(L"KillOnWrite", 5);  // the power plan's first
    EXPECT_FALSE(Enter(L"Game"));
    m_power.Remove(L"KillOnWrite");
    const std::string noted = m_installation->SystemRevertList();
    for (const char* name : {"BlockWinNotification", R"("Bluetooth":{"status":"NA"})", "HibernateOnBattery",
                             "HibernateOnCable", "PostponeWindowsUpdate", "PowerPlanAction"})
        EXPECT_NE(noted.find(name), std::string::npos) << "noted before its first write: " << noted;
    EXPECT_EQ(noted.find("VisualFX"), std::string::npos) << noted;

    host = StartConsole();
    EXPECT_TRUE(ReachesGame());
    const std::string all = m_installation->SystemRevertList();
    host->Kill();
    host = StartConsole();
    EXPECT_TRUE(IsActive("Game"));
    EXPECT_TRUE(Enter(L"Work")) << "in the meantime the agent finds the new host";
    ASSERT_TRUE(Enter(L"Game"));
    EXPECT_TRUE(ReachesGame());
    EXPECT_EQ(m_installation->SystemRevertList(), all) << "the values to return to are still the first ones";
    EXPECT_TRUE(Enter(L"Disabled"));
    ExpectPutBack();
    EXPECT_EQ(host->Finish(), 0U);
}

TEST_F(HostRecovery, KilledWhilePuttingBackTheNextStartFinishesAndLaterStartsChangeNothing) {
    auto host = StartConsole();
    EnterGame();
    // Entering takes five writes, and leaving two for each source of hibernation before the power plan's: the
    // eighth write is the second action's way back.
    m_power.Set(L"KillOnWrite", 8);
    EXPECT_FALSE(Enter(L"Disabled"));
    m_power.Remove(L"KillOnWrite");

    for (int run = 0; run < 3; ++run) {
        host = StartConsole();
        EXPECT_TRUE(IsActive("Disabled"));
        ExpectPutBack();
        EXPECT_EQ(host->Finish(), 0U);
    }
}

TEST_F(HostRecovery, UninstallPutsTheMachineBackFromARunningAStoppedAndAKilledService) {
    const auto runHost = [this](const std::wstring& arguments) {
        return rig::RunProgram(m_installation->Host(arguments)).exitCode;
    };
    const auto& host = m_services;
    for (const std::string how : {"running", "stopped", "killed"}) {
        SCOPED_TRACE(how);
        {
            auto console = StartConsole();
            EnterGame();
            if (how == "killed") {
                console->Kill();
            } else {
                EXPECT_EQ(console->Finish(), 0U);
            }
        }
        ASSERT_EQ(runHost(L"install"), 0U);
        if (how == "running") {
            const optimizer::ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
            const optimizer::ServiceHandle service(
                OpenServiceW(manager.Get(), L"OptimizerHost", SERVICE_START));
            ASSERT_TRUE(StartServiceW(service.Get(), 0, nullptr)) << GetLastError();
            ASSERT_TRUE(host.Reaches(L"OptimizerHost", kRunning));
        }
        EXPECT_EQ(runHost(L"uninstall"), 0U);
        ExpectPutBack();
    }
}

}  // namespace
