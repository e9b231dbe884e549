// What a person can do wrong at the host's console: one clear sentence, a non-zero exit code, nothing lost on
// disk.
#include <algorithm>

#include <gtest/gtest.h>

#include "tools/rig/child_process.h"
#include "tools/rig/installation.h"

namespace {

using rig::ChildProcess;
using rig::Installation;
using rig::ReadFileText;
using rig::WriteFileText;

constexpr const char* kProfiles =
    R"({"SystemActions":[],"Disabled":{},"Work":{},"Game":{},"Movie":{},"Battery":{}})";

/// Runs the console once, from its start to the end of its input.
struct ConsoleRun {
    explicit ConsoleRun(const Installation& installation) {
        ChildProcess host(installation.Host(L"console"));
        started = host.WaitForLine("ready");
        exitCode = host.Finish();
        lines = host.Lines();
    }

    bool Says(const std::string& part) const {
        return std::any_of(lines.begin(), lines.end(),
                           [&](const std::string& line) { return line.find(part) != std::string::npos; });
    }

    bool started = false;
    DWORD exitCode = 0;
    std::vector<std::string> lines;
};

TEST(HostConsole, BrokenSettingsAreToldAndKept) {
    struct Case {
        const wchar_t* file;
        const char* text;
        const char* sentence;
        bool starts;
    };
    constexpr Case kCases[] = {
        {L"profiles.json", "", "profiles.json is empty; correct it", false},
        {L"profiles.json", "{\"Game\":{\"Windows", "profiles.json is not JSON (syntax error at line 1",
         false},
        {L"profiles.json", "[1]", "profiles.json is not a JSON object", false},
        {L"profiles.json", R"({"Game":{"Dance":{}}})", "The action \"Dance\" of profile \"Game\"", true},
        {L"system_restore_profile.json", "{\"Disabled\":{\"Hib", "system_restore_profile.json is not JSON",
         true},
        {L"applications.json", R"({"Battery":[]})", "applications.json has a list for \"Battery\"", true},
        {L"A_b_config_profiles.json", "no", "A_b_config_profiles.json is not JSON", true},
    };
    for (const Case& wrong : kCases) {
        SCOPED_TRACE(wrong.sentence);
        const Installation installation(kProfiles);
        WriteFileText(installation.SettingsFile(wrong.file), wrong.text);
        const ConsoleRun run(installation);
        EXPECT_EQ(run.started, wrong.starts);
        EXPECT_EQ(run.exitCode, 1U);
        EXPECT_TRUE(run.Says(wrong.sentence));
        EXPECT_EQ(ReadFileText(installation.SettingsFile(wrong.file)), wrong.text);
    }
}

TEST(HostConsole, MissingAndBrokenPluginListsAreTold) {
    struct Case {
        const char* text;  // null for no file at all
        const char* sentence;
    };
    constexpr Case kCases[] = {
        {nullptr, "service_plugins.xml"},
        {"<settings><plugins>", "service_plugins.xml"},
        {R"(<settings><plugins><plugin name="optimizeral" dll="gone.dll" startup="1"/></plugins></settings>)",
         "gone.dll"},
        {R"(<settings><plugins></plugins></settings>)", "has no usable plug-in \"optimizeral\""},
    };
    for (const Case& wrong : kCases) {
        SCOPED_TRACE(wrong.sentence);
        const Installation installation(kProfiles);
        const std::wstring list = installation.File(L"settings\\service_plugins.xml");
        if (wrong.text != nullptr) {
            WriteFileText(list, wrong.text);
        } else {
            ASSERT_TRUE(DeleteFileW(list.c_str()));
        }
        const ConsoleRun run(installation);
        EXPECT_EQ(run.exitCode, 1U);
        EXPECT_TRUE(run.Says(wrong.sentence)) << (run.lines.empty() ? "nothing" : run.lines[0]);
    }
}

}  // namespace
