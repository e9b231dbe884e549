// What a person can do wrong at the host's console: one clear sentence, a non-zero exit code, nothing lost on
// disk.
#include <algorithm>

#include <gtest/gtest.h>

#include "frame/text.h"
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

TEST(HostConsole, DamagedNotesAreToldUntilSomebodyHasSeenToThem) {
    const Installation installation(kProfiles);
    const std::wstring file = installation.SettingsFile(L"system_restore_profile.json");
    const std::string noted = R"({"Disabled":{"Dance":{}}})";
    // Each run with what the check says before the start and what the engine's run left, by their beginnings.
    const auto expect = [&](DWORD exitCode, const std::string& before, const std::string& after) {
        ChildProcess host(installation.Host(L"console"));
        EXPECT_TRUE(before.empty() || host.WaitForLine(before));
        EXPECT_TRUE(host.WaitForLine("ready"));
        EXPECT_TRUE(after.empty() || host.WaitForLine(after)) << after;
        EXPECT_EQ(host.Finish(), exitCode);
        EXPECT_EQ(host.Lines().size(), 1U + !before.empty() + !after.empty())
            << "each is told once: " << testing::PrintToString(host.Lines());
    };
    const std::string path = optimizer::Narrow(file);
    const std::string lost = "What was noted in " + path + " is damaged and kept beside it";
    const std::string unknown = "Dance is noted in " + path;
    WriteFileText(file, "{\"Disabled\":{\"Hib");
    expect(1, "The file " + path + " is not JSON (syntax error at line 1", lost);
    EXPECT_EQ(ReadFileText(file + L".damaged"), "{\"Disabled\":{\"Hib");
    expect(1, lost, lost);

    ASSERT_TRUE(DeleteFileW((file + L".damaged").c_str()));
    WriteFileText(file, noted);
    expect(1, "", unknown);
    WriteFileText(file + L".copy", noted);
    WriteFileText(file, "[1]");
    expect(1, "The file " + path + " is not a JSON object; its last good copy is used", unknown);
    EXPECT_EQ(ReadFileText(file), noted);

    WriteFileText(file, R"({"Disabled":{}})");
    expect(0, "", "");
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
