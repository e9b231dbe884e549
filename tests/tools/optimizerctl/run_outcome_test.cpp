// What a verb says and ends with when the engine's run didn't get everything done.
#include <gmock/gmock.h>

#include "tests/tools/optimizerctl/fake_surroundings.h"

namespace ctl_test {
namespace {

using testing::HasSubstr;

std::wstring Report(const std::wstring& profileName, const std::wstring& problems,
                    const std::wstring& more = L"") {
    return L"{\"profile\":\"" + profileName + L"\"," + more + L"\"problems\":[" + problems + L"]}";
}

std::wstring Problem(const std::wstring& step, uint32_t code, const std::wstring& action = L"A",
                     const std::wstring& notes = L"") {
    return L"{\"step\":\"" + step + L"\",\"action\":\"" + action + L"\",\"notes\":\"" + notes +
           L"\",\"code\":" + std::to_wstring(code) + L"}";
}

TEST(RunOutcome, EachProblemHasItsSentenceAndAllButOneKindEndWithOne) {
    struct Row {
        std::wstring problem;
        int exitCode;
        const char* sentence;
    };
    const Row rows[] = {
        {Problem(L"note", 50), 0, "A was left as it was, since what there is to return to can't be told: "},
        {Problem(L"note", 50), 0, "\"optimizerctl config disable Game A\""},
        {Problem(L"note", 1460, L"VisualFX"), 0, "start one with \"optimizeragent run\""},
        {Problem(L"note", 87, L"VisualFX"), 0, "without a service, reaches no agent to tell"},
        {Problem(L"putBack", 1168, L"VisualFX"), 1, "VisualFX is not back, since no agent in the session"},
        {Problem(L"revert", 87, L"VisualFX"), 1,
         "VisualFX is not back, since this engine, without a service"},
        {Problem(L"store", 112), 1, "make room on the disk of F:\\o\\, then choose the profile anew."},
        {Problem(L"store", 33), 1, "A was not changed, since its note has no place while"},
        {Problem(L"store", 1392), 1, "A was not changed, since its note has no place beside damaged"},
        {Problem(L"store", 1317), 1, "nobody is logged on"},
        {Problem(L"store", 5), 1, "A was not changed, since its note can't be stored: "},
        {Problem(L"revert", 31), 1, "A is not back: the system doesn't tell why (31); what to return to"},
        {Problem(L"putBack", 1168, L"Dance", L"system"), 1,
         "Dance is noted in F:\\o\\system_restore_profile.json, and this engine has no such action"},
        {Problem(L"putBack", 1460, L"VisualFX"), 1, "VisualFX is not back, since no agent"},
        {Problem(L"putBack", 5), 1, "A is not back: "},
        {Problem(L"erase", 32), 1, "A is back, but its note can't be removed: "},
        {Problem(L"read", 1392, L"", L"D_u"), 1,
         "What was noted in F:\\o\\D_u_restore_profile.json is damaged and kept beside it as "
         "D_u_restore_profile.json.damaged"},
        {Problem(L"read", 33, L"", L"system"), 1, "end the program that holds the file"},
        {Problem(L"list", 13, L""), 1, "The actions of Game can't be read from F:\\o\\profiles.json"},
        {Problem(L"another", 288, L"A", L"system"), 1, "for another user"},
        {Problem(L"choice", 112), 1, "The choice of Game can't be stored"},
        {Problem(L"new in a later engine", 5), 1, "A was not done to its end: "},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.sentence);
        Person person;
        person.settingsFolder = L"F:\\o\\";
        person.engine.reports = {Report(L"Game", row.problem)};
        const Outcome outcome = person.Types({L"profile", L"set", L"Game", L"--wait"});
        EXPECT_EQ(outcome.exitCode, row.exitCode);
        EXPECT_THAT(outcome.err, HasSubstr(row.sentence));
        EXPECT_EQ(outcome.err.find('{'), std::string::npos) << "something wasn't filled in: " << outcome.err;
    }
}

/// What is said of a verb's end, with the profile Work active and the module on before it.
struct End {
    const char* what;
    std::vector<std::wstring> arguments;
    std::deque<std::wstring> reports;
    int exitCode;
    const char* out;  // its beginning
    const char* err;  // a part of it; empty for none at all
};

TEST(RunOutcome, OnlyWhatIsDoneIsCalledDone) {
    const std::wstring running = Report(L"Work", L"", L"\"running\":true,");
    const End ends[] = {
        {"all done",
         {L"profile", L"set", L"Game", L"--wait"},
         {Report(L"Game", L"")},
         0,
         "The profile Game is set; its actions were executed in ",
         ""},
        {"put back in part",
         {L"--in-process", L"profile", L"set", L"Disabled"},
         {Report(L"Disabled", Problem(L"putBack", 5))},
         1,
         "The profile Disabled is set, but not everything is back; choose Disabled once more",
         "A is not back"},
        {"done, but not written down",
         {L"profile", L"set", L"Disabled", L"--wait"},
         {Report(L"Disabled", Problem(L"erase", 32) + L"," + Problem(L"choice", 32))},
         1,
         "The profile Disabled is set; everything was done, but not all of it is stored.",
         "A is back, but its note can't be removed"},
        {"left out in part",
         {L"profile", L"set", L"Game", L"--wait"},
         {Report(L"Game", Problem(L"note", 50))},
         0,
         "The profile Game is set; what is told here was left out.",
         "A was left as it was"},
        {"active, and its start went well",
         {L"--in-process", L"profile", L"set", L"Work"},
         {running, Report(L"Work", L"")},
         0,
         "The profile Work is active already.",
         ""},
        {"active, and its start left something",
         {L"profile", L"set", L"Work", L"--wait"},
         {running, Report(L"Work", Problem(L"store", 112))},
         1,
         "The profile Work is chosen already, but not everything was done",
         "make room"},
        {"active, and nobody waits",
         {L"profile", L"set", L"Work"},
         {running},
         0,
         "The profile Work is chosen already; its actions run.",
         ""},
        {"the start lasts too long",
         {L"--in-process", L"profile", L"set", L"Work", L"--timeout", L"0.1"},
         {running},
         4,
         "",
         "The actions of Work were not executed within 0.1 s; the end of this program cuts them short"},
        {"a verb that asks for no run",
         {L"--in-process", L"profile", L"get", L"--timeout", L"0.1"},
         {running},
         4,
         "Work\n",
         "the end of this program cuts them short"},
        {"cut short",
         {L"profile", L"set", L"Game", L"--wait"},
         {Report(L"Game", L"", L"\"stopped\":true,")},
         1,
         "The profile Game is set, but not everything was done",
         "The actions of Game were cut short"},
        {"overtaken",
         {L"profile", L"set", L"Game", L"--wait"},
         {Report(L"Movie", L"")},
         1,
         "",
         "Somebody chose Movie before the actions of Game were executed."},
        {"off, and not back",
         {L"module", L"off", L"--wait"},
         {Report(L"Disabled", Problem(L"revert", 5))},
         1,
         "The module is off, but not everything is back",
         "A is not back"},
        {"on, and the way back of before goes well",
         {L"module", L"on", L"--wait"},
         {running, Report(L"Work", L"")},
         0,
         "The module is on.",
         ""},
        {"failures are never quiet",
         {L"profile", L"set", L"Game", L"--wait", L"--quiet"},
         {Report(L"Game", Problem(L"store", 112))},
         1,
         "",
         "make room"},
        {"in a document",
         {L"profile", L"set", L"Work", L"--json", L"--quiet"},
         {Report(L"Work", Problem(L"store", 112))},
         1,
         R"({"changed":false,"problems":[{"action":"A","code":112,"notes":"","step":"store","text":"A was not)",
         ""},
    };
    for (const End& end : ends) {
        SCOPED_TRACE(end.what);
        Person person;
        person.engine.reports = end.reports;
        const Outcome outcome = person.Types(end.arguments);
        EXPECT_EQ(outcome.exitCode, end.exitCode);
        EXPECT_THAT(outcome.out, testing::StartsWith(end.out));
        EXPECT_THAT(outcome.err, HasSubstr(end.err));
        EXPECT_EQ(outcome.out.empty(), *end.out == 0) << outcome.out;
        EXPECT_EQ(outcome.err.empty(), *end.err == 0) << outcome.err;
    }
}

TEST(RunOutcome, AFailedQuestionIsNoAnswerButAnOlderEnginesSilenceIs) {
    Person person;
    person.engine.reports = {L""};
    person.engine.reportError = ERROR_PIPE_NOT_CONNECTED;
    EXPECT_EQ(person.Types({L"profile", L"set", L"Work"}).exitCode, 3);
    person.engine.reportError = 632;
    EXPECT_EQ(person.Types({L"profile", L"set", L"Work"}).out, "The profile Work is active already.\n");

    person.engine.error = ERROR_DISK_FULL;
    EXPECT_THAT(person.Types({L"--in-process", L"profile", L"set", L"Disabled"}).err, HasSubstr("(112)."));
}

}  // namespace
}  // namespace ctl_test
