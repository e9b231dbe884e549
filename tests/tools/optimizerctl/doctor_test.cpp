// What doctor finds in settings folders, damaged ones too.
#include <gmock/gmock.h>
#include <windows.h>

#include "frame/handles.h"
#include "tests/tools/optimizerctl/fake_surroundings.h"
#include "tools/rig/temporary_folder.h"

namespace ctl_test {
namespace {

using testing::HasSubstr;

constexpr const char* kRevertList =
    R"({"active_profile":"Game","Disabled":{"WindowsServices":[{"name":"a"},{"name":"b"}],"VisualFX":{"x":1}},
        "in_force":["DisableBalloon"],"owners":{"VisualFX":"D\\u"}})";

TEST(Doctor, TellsWhatIsSoundAndWhatIsToBePutBack) {
    const rig::TemporaryFolder folder;
    rig::WriteFileText(folder.File(L"profiles.json"), "{}");
    rig::WriteFileText(folder.File(L"system_restore_profile.json"), kRevertList);
    rig::WriteFileText(folder.File(L"D_u_restore_profile.json"), "");
    Person person;
    person.settingsFolder = folder.Path();
    Outcome outcome = person.Types({L"doctor"});
    EXPECT_EQ(outcome.exitCode, 0) << "an engine in a console needs no service, an empty list is no fault";
    EXPECT_THAT(outcome.out, HasSubstr("Service       installed, stopped\n"));
    EXPECT_THAT(outcome.out, HasSubstr("the active profile is Work\nBoot          took 42.37 s\n"));
    EXPECT_THAT(outcome.out, HasSubstr("  D_u_restore_profile.json                good\n"));
    EXPECT_THAT(outcome.out, testing::EndsWith("To put back\n"
                                               "  system_restore_profile.json\n"
                                               "    VisualFX                              1 value of D\\u\n"
                                               "    WindowsServices                       2 values\n"
                                               "    DisableBalloon                        in force, without "
                                               "values\n"));
    EXPECT_THAT(
        person.Types({L"doctor", L"--json"}).out,
        HasSubstr(
            R"({"copyUsed":false,"damagedBeside":false,"inForce":["DisableBalloon"],"name":"system_restore_profile.json","owners":{"VisualFX":"D\\u"},"revert":{"VisualFX":1,"WindowsServices":2},"state":"good"})"));
}

TEST(Doctor, AsksTheEngineForWhatTheAccountMayNotRead) {
    const rig::TemporaryFolder folder;
    rig::WriteFileText(folder.File(L"profiles.json"), "{}");
    const std::wstring path = folder.File(L"system_restore_profile.json");
    rig::WriteFileText(path, kRevertList);
    const optimizer::FileHandle held(
        CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    Person person;
    person.settingsFolder = folder.Path();
    person.engine.notes =
        LR"({"notes":[{"key":"system","state":"good","revert":{"Dance":2},"inForce":["Sing"],"owners":{"Dance":"D\\u"}},
                      {"key":"D_u","state":"good","revert":{"Hop":1},"inForce":[],"owners":{}},
                      {"key":"D_v","state":"good","revert":{},"inForce":[],"owners":{}}],
             "unused":["The file x isn't used; mend it."]})";
    const Outcome outcome = person.Types({L"doctor"});
    EXPECT_EQ(outcome.exitCode, 1) << "what the service doesn't use is to be mended";
    EXPECT_THAT(outcome.out, HasSubstr("  system_restore_profile.json\n"
                                       "    Dance                                 2 values of D\\u\n"
                                       "    Sing                                  in force, without values\n"
                                       "  D_u_restore_profile.json\n"
                                       "    Hop                                   1 value\n"));
    EXPECT_THAT(outcome.out, HasSubstr("Problems\n  The file x isn't used; mend it.\n"));
    EXPECT_THAT(outcome.out, testing::Not(HasSubstr("D_v")));
}

TEST(Doctor, TellsWhatIsLeftOfDamagedNotesAsTheEngineTakesThem) {
    struct Row {
        const char* file;  // the restore file, its copy and what was set aside; null for none
        const char* copy;
        const char* aside;
        int exitCode;
        const char* state;
        const char* sentence;
        bool isNoted;
    };
    constexpr const char* kNoted = R"({"Disabled":{"A":[1]}})";
    const Row rows[] = {
        {"", nullptr, nullptr, 0, "good\n", "", false},
        {kNoted, "x", nullptr, 0, "good\n", "", true},
        {nullptr, kNoted, nullptr, 1, "missing, its copy is used\n",
         "is missing; its last good copy is used and takes its place.", true},
        {"", kNoted, nullptr, 1, "broken, its copy is used\n", "is empty; its last good copy is used", true},
        {"[1]", kNoted, nullptr, 1, "broken, its copy is used\n", "is not a JSON object; its last", true},
        {R"({"Disabled":{"A":[2]},"notes_check":"0123456789abcdef"})", kNoted, nullptr, 1,
         "broken, its copy is used\n", "holds other notes than were written; its last", true},
        {"{\"Dis", "", nullptr, 1, "broken\n", "and has no good copy; what is left is kept as D_u_", false},
        {"", "x", nullptr, 1, "broken\n", "is empty and has no good copy", false},
        {"", "", nullptr, 1, "broken\n", "is empty and has no good copy", false},
        {nullptr, "x", nullptr, 1, "broken\n", "is missing and has no good copy", false},
        {kNoted, kNoted, "{", 1, "good, damaged notes beside it\n",
         "is damaged and kept beside it as D_u_restore_profile.json.damaged", true},
        {nullptr, nullptr, "{", 1, "missing, damaged notes beside it\n", "give it its name again", false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.state + std::string(row.sentence));
        const rig::TemporaryFolder folder;
        rig::WriteFileText(folder.File(L"profiles.json"), "{}");
        const std::wstring file = folder.File(L"D_u_restore_profile.json");
        if (row.file != nullptr) rig::WriteFileText(file, row.file);
        if (row.copy != nullptr) rig::WriteFileText(file + L".copy", row.copy);
        if (row.aside != nullptr) rig::WriteFileText(file + L".damaged", row.aside);
        Person person;
        person.settingsFolder = folder.Path();
        const Outcome outcome = person.Types({L"doctor"});
        EXPECT_EQ(outcome.exitCode, row.exitCode);
        EXPECT_THAT(outcome.out,
                    HasSubstr("D_u_restore_profile.json                " + std::string(row.state)));
        EXPECT_THAT(outcome.out, HasSubstr(row.sentence));
        EXPECT_EQ(outcome.out.find("    A  ") != std::string::npos, row.isNoted);
    }
}

TEST(Doctor, TellsOnceWhatTheLastRunLeft) {
    const rig::TemporaryFolder folder;
    rig::WriteFileText(folder.File(L"profiles.json"), "{}");
    Person person;
    person.settingsFolder = folder.Path();
    person.engine.reports = {
        LR"({"profile":"Game","problems":[{"step":"note","action":"Bluetooth","notes":"","code":50}]})"};
    Outcome outcome = person.Types({L"doctor"});
    EXPECT_EQ(outcome.exitCode, 0) << "nothing is to be mended";
    EXPECT_THAT(outcome.out, HasSubstr("Last run      of Game, 1 thing not done\n"));
    EXPECT_THAT(outcome.out, HasSubstr("Problems\n  Bluetooth was left as it was"));

    rig::WriteFileText(folder.File(L"system_restore_profile.json.damaged"), "{");
    person.engine.reports = {
        LR"({"profile":"Disabled","problems":[{"step":"read","action":"","notes":"system","code":1392},
             {"step":"putBack","action":"VisualFX","notes":"","code":1460}]})"};
    outcome = person.Types({L"doctor"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.out, HasSubstr("no agent in the session answered"));
    const size_t damaged = outcome.out.find("is damaged and kept");
    EXPECT_EQ(outcome.out.find("is damaged and kept", damaged + 1), std::string::npos) << outcome.out;
}

TEST(Doctor, EndsWithTheFirstThingThatIsWrong) {
    const rig::TemporaryFolder folder;
    Person person;
    person.settingsFolder = folder.Path();
    EXPECT_THAT(person.Types({L"doctor"}).out, HasSubstr("profiles.json are missing"));

    rig::WriteFileText(folder.File(L"profiles.json"), R"({"Work":{"Sound":{}}})");
    rig::WriteFileText(folder.File(L"D_u_config_profiles.json"), "{\"Work\":");
    Outcome outcome = person.Types({L"doctor"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.out, HasSubstr("The action \"Sound\" of profile \"Work\""));
    EXPECT_THAT(outcome.out, HasSubstr("D_u_config_profiles.json                broken\n"));
    EXPECT_THAT(outcome.out, HasSubstr("D_u_config_profiles.json is not JSON"));

    EXPECT_THAT(person.Types({L"doctor", L"--quiet"}).out, HasSubstr("Problems\n"))
        << "quiet hides what is well only";

    person.serviceIsThere = false;
    outcome = person.Types({L"doctor", L"--json"});
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_THAT(outcome.out, HasSubstr(R"("reachable":false)"));
    EXPECT_THAT(outcome.out, HasSubstr(R"("state":"broken")")) << "the files are told all the same";
}

}  // namespace
}  // namespace ctl_test
