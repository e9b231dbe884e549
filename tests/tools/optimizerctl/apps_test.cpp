// The lists of applications, edited in a folder of the test's making.
#include <gmock/gmock.h>

#include "tests/tools/optimizerctl/fake_surroundings.h"
#include "tools/rig/temporary_folder.h"

namespace ctl_test {
namespace {

using testing::HasSubstr;

class Apps : public testing::Test {
protected:
    Apps() {
        m_person.serviceIsThere = false;
        m_person.settingsFolder = m_folder.File(L"");
    }

    const rig::TemporaryFolder m_folder;
    const std::wstring m_file = m_folder.File(L"applications.json");
    Person m_person;
};

TEST_F(Apps, AreAddedListedAndRemoved) {
    // One behind the other, on a folder that is empty at first.
    const std::tuple<std::vector<std::wstring>, int, const char*> rows[] = {
        {{L"list", L"Game"}, 1, "\"optimizerctl apps add\" makes it."},
        {{L"remove", L"Game", L"a.exe"}, 0, "a.exe is not in the list of Game; nothing changed.\n"},
        {{L"add", L"game", L"a.exe"}, 0, "a.exe is now in the list of Game.\n"},
        {{L"add", L"Game", L"A.EXE", L"--json"}, 0, R"("product":""},"changed":false,"profile":"Game"})"},
        {{L"add", L"Game", L"b.exe", L"--product", L"The B"}, 0, "b.exe of \"The B\" is now in"},
        {{L"list", L"Game"}, 0, "a.exe\nb.exe                           The B\n"},
        {{L"list", L"Work"}, 0, "The profile Work has no applications.\n"},
        {{L"remove", L"Game", L"b.exe", L"--json"}, 0, "\"changed\":false"},
        {{L"remove", L"Game", L"a.exe", L"--json"}, 0, "\"changed\":true"},
        {{L"list", L"Game", L"--json"}, 0, R"(ons":[{"name":"b.exe","product":"The B"}],"profile")"},
    };
    for (const auto& [words, exitCode, text] : rows) {
        SCOPED_TRACE(testing::PrintToString(words));
        std::vector<std::wstring> arguments = {L"apps"};
        arguments.insert(arguments.end(), words.begin(), words.end());
        const Outcome outcome = m_person.Types(arguments);
        EXPECT_EQ(outcome.exitCode, exitCode);
        EXPECT_THAT(outcome.out + outcome.err, HasSubstr(text));
    }
}

TEST_F(Apps, AMistakeChangesNothing) {
    for (const std::string before : {R"({"Game":[{"name":"a.exe"}]})", R"({"Game":)", R"({"Battery":[]})"}) {
        rig::WriteFileText(m_file, before);
        for (const wchar_t* name : {L"", L"C:\\a.exe", L"b/a.exe"})
            EXPECT_EQ(m_person.Types({L"apps", L"add", L"Game", name}).exitCode, 2);
        const Outcome outcome = m_person.Types({L"apps", L"add", L"Battery", L"b.exe"});
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_THAT(outcome.err, HasSubstr("choose Work, Game or Movie."));
        EXPECT_EQ(m_person.Types({L"apps", L"add", L"Game", L"A.exe"}).exitCode,
                  before.find("a.exe") != std::string::npos ? 0 : 1);
        EXPECT_EQ(rig::ReadFileText(m_file), before);
    }
}

TEST(InProcess, WhatAVerbStartsIsWaitedFor) {
    Person person;
    person.serviceIsThere = false;
    person.engine.onSet = [&](IOptimizerEvents& events) {
        const profile executed = person.engine.enabled ? person.engine.active : profile::Disabled;
        events.OnActionsExecuted(L"", &executed);
    };
    EXPECT_THAT(person.Types({L"--in-process", L"profile", L"set", L"Game", L"--json"}).out,
                HasSubstr(R"("executed":true)"));
    EXPECT_EQ(person.Types({L"module", L"off", L"--in-process", L"--timeout", L"5"}).exitCode, 0);
    person.engine.onSet = [](IOptimizerEvents&) {};
    EXPECT_EQ(person.Types({L"module", L"off", L"--in-process"}).exitCode, 0) << "off already: no wait";
    EXPECT_EQ(person.Types({L"module", L"on", L"--in-process", L"--timeout", L"0.1"}).exitCode, 4);
}

}  // namespace
}  // namespace ctl_test
