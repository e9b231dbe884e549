// A machine with a profile in force whose notes lie in both restore files: real services and the simulated
// power library.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "frame/text.h"
#include "tests/support/simulated_power.h"
#include "tools/rig/child_process.h"
#include "tools/rig/installation.h"
#include "tools/rig/scratch_services.h"

namespace host_test {

using rig::ServiceState;
using test_support::SimulatedPower;

inline constexpr GUID kSleep = {0x238C9FA8, 0x0AAD, 0x41ED, {0x83, 0xF4, 0x97, 0xBE, 0x24, 0x2C, 0x8F, 0x20}};
inline constexpr GUID kHibernateEnabled = {
    0x94AC6D29, 0x73CE, 0x41A6, {0x80, 0x9F, 0x63, 0x63, 0xBA, 0x21, 0xB4, 0x7E}};
inline constexpr GUID kHibernateTimeout = {
    0x9D7815A6, 0x7EE4, 0x497E, {0x88, 0x88, 0x51, 0x5A, 0x05, 0xF0, 0x23, 0x64}};

/// Two services and hibernation on battery are noted as the machine's, hibernation on cable as the user's.
class NotedMachine : public testing::Test {
protected:
    NotedMachine() {
        m_services.Add(L"notes_a", kRunning);
        m_services.Add(L"notes_b", kStopped);
        SetPower(kFound);
        m_installation.emplace(_Profiles());
        m_installation->UseSimulatedPower();
    }

    void SetPower(const std::vector<uint32_t>& values) {
        for (size_t i = 0; i < values.size(); ++i)
            m_power.Set(_PowerName(i), values[i]);
    }
    std::vector<uint32_t> Power() const {
        std::vector<uint32_t> values;
        for (size_t i = 0; i < kFound.size(); ++i)
            values.push_back(m_power.Get(_PowerName(i)).value_or(~0U));
        return values;
    }
    bool AreServicesInGame() const {
        return m_services.Reaches(m_services.Names()[0], kDisabled) &&
               m_services.Reaches(m_services.Names()[1], kRunning);
    }
    bool AreServicesBack() const {
        return m_services.Reaches(m_services.Names()[0], kRunning) &&
               m_services.Reaches(m_services.Names()[1], kStopped);
    }

    /// The command line with an engine of its own, and the host.
    std::wstring Command(const std::wstring& arguments) const {
        return m_installation->Control(L"--in-process " + arguments);
    }
    rig::ProgramRun Control(const std::wstring& arguments) const {
        return rig::RunProgram(Command(arguments));
    }
    rig::ProgramRun Host(const std::wstring& arguments) const {
        return rig::RunProgram(m_installation->Host(arguments));
    }
    void EnterGame() const {
        ASSERT_EQ(Control(L"module on").exitCode, 0U);
        const rig::ProgramRun run = Control(L"profile set Game");
        ASSERT_EQ(run.exitCode, 0U) << testing::PrintToString(run.lines);
        ASSERT_EQ(Power(), kInGame);
        ASSERT_TRUE(AreServicesInGame());
    }

    std::wstring SystemFile() const { return m_installation->SettingsFile(L"system_restore_profile.json"); }
    /// There once the user has chosen something.
    std::wstring UserFile() const {
        const std::filesystem::path folder = m_installation->SettingsFile(L"");
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            const std::wstring path = entry.path().wstring();
            if (path.ends_with(L"_restore_profile.json") && path != SystemFile()) return path;
        }
        return L"";
    }

    static constexpr ServiceState kRunning = {SERVICE_RUNNING, SERVICE_AUTO_START};
    static constexpr ServiceState kStopped = {SERVICE_STOPPED, SERVICE_DEMAND_START};
    static constexpr ServiceState kDisabled = {SERVICE_STOPPED, SERVICE_DISABLED};
    // On battery and on cable, whether and after which time.
    const std::vector<uint32_t> kFound = {0, 41, 0, 43};
    const std::vector<uint32_t> kInGame = {1, 111, 1, 222};

    SimulatedPower m_power;
    rig::ScratchServices m_services;
    std::optional<rig::Installation> m_installation;

private:
    static std::wstring _PowerName(size_t i) {
        return SimulatedPower::ValueName(kSleep, i % 2 == 0 ? kHibernateEnabled : kHibernateTimeout, i < 2);
    }
    std::string _Profiles() const {
        return R"({"SystemActions":["HibernateOnBattery","WindowsServices"],"Disabled":{},"Game":{
                   "HibernateOnBattery":{"active":true,"time":111},
                   "HibernateOnCable":{"active":true,"time":222},
                   "WindowsServices":[{"name":")" +
               optimizer::Narrow(m_services.Names()[0]) +
               R"(","status":"STOPPED","startup":"DISABLED"},{"name":")" +
               optimizer::Narrow(m_services.Names()[1]) + R"(","status":"RUNNING","startup":"AUTOMATIC"}]}})";
    }
};

}  // namespace host_test
