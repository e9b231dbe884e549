// One engine at a time works with a settings folder: commands with an engine of their own, and the host.
#include <gmock/gmock.h>

#include "tools/rig/child_process.h"
#include "tools/rig/installation.h"

namespace {

using rig::ChildProcess;
using testing::Contains;
using testing::HasSubstr;

TEST(OneEngine, ASecondOneIsRefusedAndAKilledOneIsInNobodysWay) {
    const rig::Installation installation(
        R"({"SystemActions":[],"Disabled":{},"Work":{},"Game":{},"Movie":{},"Battery":{}})");
    const auto expect = [&](const wchar_t* command, DWORD exitCode, const char* text) {
        const rig::ProgramRun run = rig::RunProgram(installation.Control(command));
        EXPECT_EQ(run.exitCode, exitCode);
        EXPECT_THAT(run.lines, Contains(HasSubstr(text)));
    };
    expect(L"--in-process module on", 0, "The module is on.");
    expect(L"--in-process profile set Game", 0, "its actions were executed in");
    expect(L"--in-process profile set Game --timeout 5", 0, "is active already");
    {
        ChildProcess watch(installation.Control(L"--in-process watch"));
        ASSERT_TRUE(watch.WaitForLine("watching"));
        expect(L"--in-process profile get", 1, "another one works with the settings");
        ChildProcess host(installation.Host(L"console"));
        EXPECT_EQ(host.Finish(), 1U);
        EXPECT_THAT(host.Lines(), Contains(HasSubstr("end it first")));
        watch.Kill();
    }
    ChildProcess host(installation.Host(L"console"));
    ASSERT_TRUE(host.WaitForLine("ready"));
    expect(L"--in-process profile get", 1, "the service runs");
    expect(L"profile get", 0, "Game");
}

TEST(OneEngine, WhatIsInTheLocksPlaceStopsEveryEngine) {
    const rig::Installation installation(R"({"SystemActions":[],"Disabled":{},"Game":{}})");
    const std::wstring lock = installation.SettingsFile(L"engine.lock");
    ASSERT_TRUE(CreateDirectoryW(lock.c_str(), nullptr));
    for (const std::wstring& command :
         {installation.Host(L"console"), installation.Control(L"--in-process profile set Game")}) {
        const rig::ProgramRun run = rig::RunProgram(command);
        EXPECT_EQ(run.exitCode, 1U);
        EXPECT_THAT(run.lines, testing::ElementsAre(HasSubstr("engine.lock is in the way")));
    }
    ASSERT_TRUE(RemoveDirectoryW(lock.c_str()));
    EXPECT_EQ(rig::RunProgram(installation.Control(L"--in-process profile set Game")).exitCode, 0U);
}

}  // namespace
