// The profile's applications through the real host: real processes, whose priority the system itself reports.
#include <memory>

#include <gtest/gtest.h>

#include "frame/module_path.h"
#include "tools/rig/child_process.h"
#include "tools/rig/installation.h"
#include "tools/rig/scratch_services.h"

namespace {

using rig::ChildProcess;

constexpr const char* kProfiles =
    R"({"SystemActions":[],"Disabled":{},"Work":{},"Game":{"WindowsProcesses":{"settings":[]}},"Movie":{},
        "Battery":{}})";
constexpr const char* kInGame = R"({"Game":[{"name":"Scratch_Process.exe","product":"scratch product"}]})";
constexpr const char* kNormal = "priority 0x20";
constexpr const char* kRaised = "priority 0x8000";

/// The host with an application that its profile "Game" includes.
class HostProcesses : public testing::Test {
protected:
    HostProcesses() {
        WriteApplications(kInGame);
        m_host = std::make_unique<ChildProcess>(m_installation.Host(L"console"));
        EXPECT_TRUE(m_host->WaitForLine("ready"));
        Control(L"module on");
        m_watch = std::make_unique<ChildProcess>(m_installation.Control(L"watch --json"));
        EXPECT_TRUE(m_watch->WaitForLine("watching"));
    }

    void WriteApplications(const std::string& text) const {
        rig::WriteFileText(m_installation.SettingsFile(L"applications.json"), text);
    }
    void Control(const std::wstring& arguments) const {
        EXPECT_EQ(rig::RunProgram(m_installation.Control(arguments)).exitCode, 0U);
    }
    void SwitchTo(const std::wstring& profile) const { Control(L"profile set " + profile); }
    static std::unique_ptr<ChildProcess> StartApplication() {
        auto application =
            std::make_unique<ChildProcess>(L"\"" + optimizer::GetModuleFolder() + L"scratch_process.exe\"");
        EXPECT_TRUE(application->WaitForLine("ready"));
        return application;
    }
    static bool Reaches(ChildProcess& application, const char* priority) {
        return rig::WaitUntil([&] {
            application.Send("priority");
            return application.WaitForLine("priority") && application.Lines().back() == priority;
        });
    }

    /// Whether an application is raised within a second of what `act` does. A busy machine may be late now
    /// and then, so that three tries count as one.
    template <class Prepare, class Act>
    static bool IsRaisedInASecond(Prepare prepare, Act act) {
        for (int attempt = 0; attempt < 3; ++attempt) {
            prepare();
            const ULONGLONG beginMs = GetTickCount64();
            if (Reaches(act(), kRaised) && GetTickCount64() - beginMs <= 1000) return true;
        }
        return false;
    }

    rig::Installation m_installation{kProfiles};
    std::unique_ptr<ChildProcess> m_host;
    std::unique_ptr<ChildProcess> m_watch;
};

TEST_F(HostProcesses, WhatRunsAndWhatStartsLaterIsRaisedAndComesBack) {
    const auto early = StartApplication();
    EXPECT_TRUE(Reaches(*early, kNormal));
    SwitchTo(L"Game");
    EXPECT_TRUE(Reaches(*early, kRaised));
    EXPECT_TRUE(
        m_watch->WaitForLine(R"({"count":1,"event":"processOptimized","process":"scratch_process.exe")"));
    const auto late = StartApplication();
    EXPECT_TRUE(Reaches(*late, kRaised));
    EXPECT_TRUE(
        m_watch->WaitForLine(R"({"count":2,"event":"processOptimized","process":"scratch_process.exe")"));

    WriteApplications(R"({"Game":[{"name":"other.exe"}]})");
    EXPECT_TRUE(Reaches(*early, kNormal));
    EXPECT_TRUE(Reaches(*late, kNormal));
    WriteApplications(R"({"Game":[{"name":"scratch_process.exe"}]})");
    EXPECT_TRUE(Reaches(*late, kRaised)) << "without a product any is meant";

    const auto disable = [&] {
        SwitchTo(L"Disabled");
        EXPECT_TRUE(Reaches(*early, kNormal));
        EXPECT_TRUE(Reaches(*late, kNormal));
    };
    std::unique_ptr<ChildProcess> another;
    EXPECT_TRUE(IsRaisedInASecond([] {}, [&]() -> ChildProcess& { return *(another = StartApplication()); }));
    EXPECT_TRUE(IsRaisedInASecond(disable, [&]() -> ChildProcess& { return SwitchTo(L"Game"), *early; }));
    disable();
    EXPECT_EQ(m_host->Finish(), 0U);
}

}  // namespace
