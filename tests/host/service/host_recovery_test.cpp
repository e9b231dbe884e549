// The machine comes back from wherever the host was ended: real services, the real host as a process of its
// own, and a simulated power library whose values outlive a kill.
#include <iostream>
#include <memory>

#include <gtest/gtest.h>

#include <picojson.h>

#include "tools/rig/child_process.h"
#include "tools/rig/installation.h"
#include "tools/rig/scratch_services.h"
#include "tests/support/simulated_power.h"

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
constexpr GUID kDisplayOff = {0x3C0BC021, 0xC8A8, 0x4E07, {0xA9, 0x73, 0x6B, 0x14, 0xCB, 0xCB, 0x2B, 0x7E}};

constexpr ServiceState kRunning = {SERVICE_RUNNING, SERVICE_AUTO_START};
constexpr ServiceState kStoppedManual = {SERVICE_STOPPED, SERVICE_DEMAND_START};
constexpr ServiceState kPaused = {SERVICE_PAUSED, SERVICE_DEMAND_START};
constexpr ServiceState kStoppedDisabled = {SERVICE_STOPPED, SERVICE_DISABLED};

std::string Narrow(const std::wstring& text) {
    return {text.begin(), text.end()};  // the names here are ASCII
}

/// Three services of which "Game" wants something else, and before them, in the order of names, the actions
/// on Bluetooth (there is no adapter), on hibernation, on the power plan and on USB disks (there are none).
class HostRecovery : public testing::Test {
protected:
    HostRecovery() {
        constexpr uint32_t kFound[] = {0, 41, 0, 43, 44};
        for (size_t i = 0; i < m_powerValues.size(); ++i)
            m_power.Set(m_powerValues[i], kFound[i]);
        m_services.Add(L"recover_a", kRunning);
        m_services.Add(L"recover_b", kStoppedManual);
        m_services.Add(L"recover_c", kPaused);
        m_before = m_services.QueryAll();
        m_powerBefore = Power();
        m_installation = std::make_unique<Installation>(_Profiles());
        m_installation->UseSimulatedPower();
    }

    std::vector<uint32_t> Power() const {
        std::vector<uint32_t> values;
        for (const std::wstring& name : m_powerValues)
            values.push_back(m_power.Get(name).value_or(0));
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

    bool IsInGame() const {
        return m_services.Reaches(m_services.Names()[0], kStoppedDisabled) &&
               m_services.Reaches(m_services.Names()[1], kRunning) &&
               m_services.Reaches(m_services.Names()[2], kRunning) && rig::WaitUntil([this] {
                   return Power() == std::vector<uint32_t>{1, 111, 1, 222, 333};
               });
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
        test_support::SimulatedPower::ValueName(kVideo, kDisplayOff, false)};
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
               "\"PowerPlanAction\",\"WindowsServices\"],"
               "\"Disabled\":{},"
               "\"Work\":{},\"Movie\":{},\"Battery\":{},\"Game\":{"
               "\"HibernateOnBattery\":{\"active\":true,\"time\":111},"
               "\"HibernateOnCable\":{\"active\":true,\"time\":222},"
               "\"Bluetooth\":{\"status\":\"OFF\"},\"UsbDevices\":{},"
               "\"PowerPlanAction\":{\"DisplayOffTime\":333},"
               "\"WindowsServices\":[" +
               service(0, "STOPPED", "DISABLED") + "," + service(1, "RUNNING", "AUTOMATIC") + "," +
               service(2, "RUNNING", "AUTOMATIC") + "]}}";
    }
};

TEST_F(HostRecovery, KilledInForceItReturnsToGameAndDisabledBringsTheFirstValuesBack) {
    auto host = StartConsole();
    EnterGame();
    const std::string noted = m_installation->SystemRevertList();
    host->Kill();

    host = StartConsole();
    EXPECT_TRUE(IsActive("Game"));
    ASSERT_TRUE(Enter(L"Work"));
    ASSERT_TRUE(Enter(L"Game"));
    EXPECT_TRUE(ReachesGame());
    EXPECT_EQ(m_installation->SystemRevertList(), noted)
        << "the values to return to are still the first ones";

    ASSERT_TRUE(Enter(L"Disabled"));
    EXPECT_EQ(host->Finish(), 0U);
    ExpectPutBack();
}

TEST_F(HostRecovery, KilledBetweenTwoActionsTheFirstOnesNoteIsOnDisk) {
    auto host = StartConsole();
    ASSERT_TRUE(Control(L"module on"));
    // Each power action asks for the capabilities once, before it touches anything: the second question ends
    // the host.
    m_power.Set(L"KillOnCapabilities", 2);
    EXPECT_FALSE(Enter(L"Game"));
    m_power.Remove(L"KillOnCapabilities");
    EXPECT_NE(m_installation->SystemRevertList().find("Bluetooth"), std::string::npos);
    EXPECT_NE(m_installation->SystemRevertList().find("HibernateOnBattery"), std::string::npos);
    EXPECT_EQ(m_installation->SystemRevertList().find("HibernateOnCable"), std::string::npos);

    host = StartConsole();
    EXPECT_TRUE(IsActive("Game"));
    EXPECT_TRUE(ReachesGame());
    ASSERT_TRUE(Enter(L"Disabled"));
    EXPECT_EQ(host->Finish(), 0U);
    ExpectPutBack();
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
