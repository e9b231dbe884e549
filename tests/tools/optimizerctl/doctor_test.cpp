// What doctor finds in settings folders, damaged ones too.
#include <gmock/gmock.h>

#include "tests/tools/optimizerctl/fake_surroundings.h"
#include "tools/rig/temporary_folder.h"

namespace ctl_test {
namespace {

using testing::HasSubstr;

constexpr const char* kRevertList =
    R"({"active_profile":"Game","Disabled":{"WindowsServices":[{"name":"a"},{"name":"b"}],"VisualFX":{"x":1}}})";

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
                                               "    VisualFX                              1 value\n"
                                               "    WindowsServices                       2 values\n"));
    EXPECT_THAT(
        person.Types({L"doctor", L"--json"}).out,
        HasSubstr(R"("name":"system_restore_profile.json","revert":{"VisualFX":1,"WindowsServices":2})"));
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
