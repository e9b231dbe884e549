// The boot's figures through the real host: what the files hold reaches the command line, and the states that
// a measurement has. A whole measurement takes a minute and is tested with a clock of the tests' own.
#include <gmock/gmock.h>
#include <windows.h>

#include "tools/rig/child_process.h"
#include "tools/rig/installation.h"

namespace {

using rig::ChildProcess;
using testing::Contains;
using testing::HasSubstr;

constexpr const char* kProfiles =
    R"({"SystemActions":[],"Disabled":{},"Work":{},"Game":{},"Movie":{},"Battery":{}})";
constexpr const char* kProcesses =
    R"({"processes":[{"counters":["10","20","-5","40","50"],"name":"C:\\a.exe","pid":"8","ppid":"4"}]})";

/// When this machine started, in milliseconds since 1601.
int64_t StartTimeMs() {
    FILETIME now = {};
    GetSystemTimeAsFileTime(&now);
    const ULARGE_INTEGER ticks = {{now.dwLowDateTime, now.dwHighDateTime}};
    return static_cast<int64_t>(ticks.QuadPart / 10000) - GetTickCount();
}

TEST(HostBoot, ABootIsLoadedMeasuredOrMissed) {
    struct Case {
        const char* name;
        int64_t storedStartTime;  // 0 for no file
        const wchar_t* arguments;
        DWORD exitCode;
        const char* line;
    };
    const Case cases[] = {
        {"somebody is logged on already", 0, L"boot time", 1, "There are no figures of a boot"},
        {"the same boot", StartTimeMs(), L"boot impact --json", 0,
         R"({"count":1,"milliseconds":4711,"processes":[{"cpu":30,"kernel":10,"name":"C:\\a.exe","other":50,)"
         R"("pid":8,"ppid":4,"read":-5,"share":1,"user":20,"written":40}])"},
        {"a new boot", 1000, L"boot time", 1, "The boot is still being measured"},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        const rig::Installation installation(kProfiles);
        if (each.storedStartTime != 0) {
            rig::WriteFileText(installation.SettingsFile(L"last_boot_time_information.json"),
                               R"({"bootTime":"4711","systemStartTimestamp":")" +
                                   std::to_string(each.storedStartTime) + "\"}");
            rig::WriteFileText(installation.SettingsFile(L"last_boot_time_process_impact.json"), kProcesses);
        }
        ChildProcess host(installation.Host(L"console"));
        ASSERT_TRUE(host.WaitForLine("ready"));
        // Loading takes moments, in which a client is told to come again.
        const std::wstring wait = each.storedStartTime == 1000 ? L"" : L" --wait --timeout 30";
        const auto control = rig::RunProgram(installation.Control(each.arguments + wait));
        EXPECT_EQ(control.exitCode, each.exitCode);
        EXPECT_THAT(control.lines, Contains(HasSubstr(each.line)));
        EXPECT_EQ(host.Finish(), 0U) << "a measurement doesn't hold the service up";
    }
}

}  // namespace
