// What a command line does to the engine, prints and ends with.
#include <filesystem>

#include <gmock/gmock.h>

#include "tests/tools/optimizerctl/fake_surroundings.h"
#include "tools/rig/temporary_folder.h"

namespace ctl_test {
namespace {

using testing::HasSubstr;

struct Row {
    std::vector<std::wstring> arguments;
    int exitCode;
    std::string out;
    std::string err;
    uint32_t engineError = ERROR_SUCCESS;
};

/// Each row meets an engine of its own, with Work active and the module on.
void Check(const std::vector<Row>& rows) {
    for (const Row& row : rows) {
        Person person;
        person.engine.error = row.engineError;
        const Outcome outcome = person.Types(row.arguments);
        SCOPED_TRACE(testing::PrintToString(row.arguments));
        EXPECT_EQ(outcome.exitCode, row.exitCode);
        EXPECT_EQ(outcome.out, row.out);
        if (row.err.empty()) {
            EXPECT_EQ(outcome.err, "");
        } else {
            EXPECT_THAT(outcome.err, HasSubstr(row.err));
        }
    }
}

TEST(CommandLine, AnswersInTheFormThatWasAskedFor) {
    Check({
        {{L"profile", L"get"}, 0, "Work\n", ""},
        {{L"profile", L"list"}, 0, "Disabled\nWork      active\nGame\nMovie\nBattery\n", ""},
        {{L"--json", L"profile", L"get"}, 0, "{\"profile\":\"Work\"}\n", ""},
        {{L"profile", L"get", L"--json", L"--timeout", L"5"}, 0, "{\"profile\":\"Work\"}\n", ""},
        {{L"profile", L"set", L"gAME", L"--json"}, 0, "{\"changed\":true,\"profile\":\"Game\"}\n", ""},
        {{L"profile", L"set", L"work"}, 0, "The profile Work is active already.\n", ""},
        {{L"profile", L"set", L"Work", L"--wait", L"--json"},
         0,
         "{\"changed\":false,\"profile\":\"Work\"}\n",
         ""},
        {{L"profile", L"set", L"Game", L"--quiet"}, 0, "", ""},
        {{L"module", L"off", L"--json"}, 0, "{\"on\":false}\n", ""},
        {{L"module", L"status"}, 0, "on\n", ""},
        {{L"config", L"get", L"Game", L"--json"}, 0, "{\"config\":{},\"profile\":\"Game\"}\n", ""},
    });
}

TEST(CommandLine, TellsWhoFailed) {
    Check({
        {{L"profile", L"set", L"Game"}, 1, "", "The engine refuses the profile Game: ", ERROR_GEN_FAILURE},
        {{L"profile", L"get", L"--quiet"}, 4, "", "can't be told: ", ERROR_TIMEOUT},
        {{L"module", L"on"}, 3, "", "start it with \"sc start OptimizerHost\"", ERROR_BROKEN_PIPE},
        {{L"config", L"enable", L"Work", L"UsbDevices"}, 1, "", "can't be read: ", ERROR_GEN_FAILURE},
        {{}, 2, "", "takes profile, module, config, apps, boot, watch, doctor or completion"},
        {{L"profile"}, 2, "", "\"optimizerctl profile\" takes get, set or list"},
        {{L"profile", L"become", L"Game"}, 2, "", "become; \"optimizerctl profile\" takes get, set or list"},
        {{L"profile", L"set"}, 2, "", "PROFILE is required"},
        {{L"profile", L"set", L"Play"}, 2, "", "choose Disabled, Work, Game, Movie or Battery."},
        {{L"profile", L"set", L"Game", L"list"}, 2, "", "list; see \"optimizerctl profile set --help\""},
        {{L"profile", L"get", L"--timeout", L"nan"}, 2, "", "from 0.1 to 86400, not \"nan\""},
        {{L"profile", L"get", L"--timeout", L"5s"}, 2, "", "from 0.1 to 86400, not \"5s\""},
        {{L"watch", L"--count", L"0"}, 2, "", "--count"},
        {{L"config", L"disable", L"Work", L"Sound"}, 2, "", "choose WindowsServices, Postpone"},
        {{L"profile", L"set", L"Play", L"--json"},
         2,
         "{\"error\":{\"code\":0,\"exit\":2,\"text\":\"There is no profile \\\"Play\\\"; choose Disabled, "
         "Work, Game, Movie or Battery.\"}}\n",
         ""},
    });
    Person alone;
    alone.serviceIsThere = false;
    const Outcome outcome = alone.Types({L"profile", L"get", L"--json"});
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_THAT(outcome.out, HasSubstr("{\"error\":{\"code\":8,\"exit\":3,\"text\":\"The service can't"));
}

TEST(CommandLine, ASwitchedActionLeavesTheRestOfItsConfigAlone) {
    Person person;
    person.engine.configs[profile::Work] =
        LR"({"Bluetooth":{"active":true,"kept":[1]},"UsbDevices":{"active":true}})";
    EXPECT_EQ(person.Types({L"config", L"disable", L"work", L"bluetooth"}).out,
              "The action Bluetooth is disabled in Work.\n");
    EXPECT_EQ(person.Types({L"config", L"enable", L"Work", L"VisualFX"}).exitCode, 0);
    EXPECT_EQ(
        person.engine.configs[profile::Work],
        LR"({"Bluetooth":{"active":false,"kept":[1]},"UsbDevices":{"active":true},"VisualFX":{"active":true}})");

    person.engine.configs[profile::Game] = L"[]";
    EXPECT_EQ(person.Types({L"config", L"enable", L"Game", L"VisualFX"}).exitCode, 1);
    EXPECT_EQ(person.engine.configs[profile::Game], L"[]") << "what isn't understood is not written over";
}

TEST(CommandLine, AConfigComesFromAnyPlaceAndOnlyAWholeOneIsSent) {
    const rig::TemporaryFolder folder;
    const std::wstring file = folder.File(L"config.json");
    rig::WriteFileText(file, "{ \"VisualFX\": {\"active\": true, \"x\": 1} }\n");
    Person person;
    person.input = "{\"VisualFX\":{\"active\":false}}";
    std::wstring& stored = person.engine.configs[profile::Movie];
    EXPECT_EQ(person.Types({L"config", L"set", L"Movie", L"-"}).exitCode, 0);
    EXPECT_EQ(stored, LR"({"VisualFX":{"active":false}})");
    EXPECT_EQ(person.Types({L"config", L"set", L"Movie", L"@" + file}).exitCode, 0);
    EXPECT_EQ(stored, LR"({"VisualFX":{"active":true,"x":1}})");
    EXPECT_EQ(person.Types({L"config", L"set", L"Movie", L"{}"}).exitCode, 0);
    EXPECT_EQ(stored, L"{}");

    const std::pair<const wchar_t*, const char*> mistakes[] = {
        {L"{", "The config is not JSON"},
        {L"", "The config is not JSON"},
        {L"[]", "The config is not a JSON object"},
        {LR"({"visualfx":{"active":true}})", "There is no action \"visualfx\""},
        {LR"({"VisualFX":true})", "The action \"VisualFX\" is not an object"},
        {LR"({"VisualFX":{}})", "The action \"VisualFX\" has no \"active\""},
        {LR"({"Sound":1,"VisualFX":{"active":1}})", "\nThe \"active\" of \"VisualFX\" is neither"},
        {L"@no such file", "The file no such file can't be read"},
    };
    for (const auto& [text, sentence] : mistakes) {
        const Outcome outcome = person.Types({L"config", L"set", L"Movie", text});
        EXPECT_EQ(outcome.exitCode, 2) << sentence;
        EXPECT_THAT(outcome.err, HasSubstr(sentence));
        EXPECT_EQ(stored, L"{}") << sentence;
    }
}

}  // namespace
}  // namespace ctl_test
