// The verbs that wait for the engine's events.
#include <gmock/gmock.h>

#include "frame/json.h"
#include "tests/tools/optimizerctl/fake_surroundings.h"

namespace ctl_test {
namespace {

using testing::HasSubstr;

void SayEverything(IOptimizerEvents& observer) {
    const uint32_t task = 3;
    const profile game = profile::Game;
    observer.OnTaskFinished(L"D\\u", &task, 5);
    observer.OnProfileChanged(L"D\\u", &game);
    observer.OnActionsExecuted(L"D\\u", &game);
    observer.OnProfileConfigChanged(L"", &game);
    observer.OnOptimizerModuleEnableChanged(L"D\\u", true);
    observer.OnOptimizerProcessOptimized(L"a.exe", 2);
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    size_t end = 0;
    for (size_t start = 0; (end = text.find('\n', start)) != std::string::npos; start = end + 1)
        lines.push_back(text.substr(start, end - start));
    return lines;
}

TEST(Watch, TellsEachEventInOneLine) {
    Person person;
    person.engine.onRegister = &SayEverything;
    const Outcome json = person.Types({L"watch", L"--json", L"--count", L"6"});
    EXPECT_EQ(json.exitCode, 0);
    EXPECT_THAT(json.err, testing::StartsWith("watching"));
    EXPECT_FALSE(person.engine.IsHeard()) << "the observer is gone at the end";
    std::vector<std::string> documents;
    for (const std::string& line : Lines(json.out)) {
        picojson::value document;
        std::string error;
        ASSERT_TRUE(optimizer::json::Parse(line, document, error)) << line;
        EXPECT_EQ(document.get<picojson::object>().erase("time"), 1U);
        documents.push_back(document.serialize());
    }
    EXPECT_THAT(documents,
                testing::ElementsAre(R"({"event":"taskFinished","status":5,"task":3,"user":"D\\u"})",
                                     R"({"event":"profileChanged","profile":"Game","user":"D\\u"})",
                                     R"({"event":"actionsExecuted","profile":"Game","user":"D\\u"})",
                                     R"({"event":"configChanged","profile":"Game","user":""})",
                                     R"({"event":"moduleChanged","on":true,"user":"D\\u"})",
                                     R"({"count":2,"event":"processOptimized","process":"a.exe"})"));

    const std::vector<std::string> texts = Lines(person.Types({L"watch", L"--count", L"4"}).out);
    ASSERT_EQ(texts.size(), 4U) << "no more than asked for";
    EXPECT_EQ(texts[1].substr(21), "profile changed to Game                 D\\u");
    EXPECT_EQ(texts[2].substr(21), "actions executed for Game               D\\u");
    EXPECT_EQ(texts[3].substr(21), "config changed of Game");
}

TEST(Watch, EndsWithItsTimeItsReaderOrItsService) {
    Person person;
    EXPECT_EQ(person.Types({L"watch", L"--timeout", L"0.1"}).exitCode, 0);
    EXPECT_EQ(person.Types({L"watch", L"--timeout", L"0.1", L"--count", L"1"}).exitCode, 4);

    person.engine.error = ERROR_PIPE_NOT_CONNECTED;
    const Outcome outcome = person.Types({L"watch"});
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_THAT(outcome.err, HasSubstr("it went away"));

    person.engine.onRegister = &SayEverything;
    person.readerIsThere = false;
    EXPECT_EQ(person.Types({L"watch"}).exitCode, 0);
}

TEST(ProfileSetWait, EndsWithTheEventOfItsOwnProfile) {
    const profile game = profile::Game;
    const profile work = profile::Work;
    Person person;
    person.engine.onSet = [&](IOptimizerEvents& observer) { observer.OnActionsExecuted(L"", &work); };
    Outcome outcome = person.Types({L"profile", L"set", L"Game", L"--wait", L"--timeout", L"0.1"});
    EXPECT_EQ(outcome.exitCode, 4) << "another profile's actions don't count";
    EXPECT_THAT(outcome.err, HasSubstr("were not executed within 0.1 s"));

    person.engine.active = work;
    person.engine.onSet = [&](IOptimizerEvents& observer) { observer.OnActionsExecuted(L"", &game); };
    outcome = person.Types({L"profile", L"set", L"Game", L"--wait", L"--json"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.out, HasSubstr(R"({"changed":true,"executed":true,"milliseconds":)"));
}

TEST(ProfileSetWait, DoesNotWaitForWhatNeverComes) {
    Person person;
    person.engine.enabled = false;
    EXPECT_EQ(person.Types({L"profile", L"set", L"Game", L"--wait", L"--json"}).out,
              "{\"changed\":true,\"executed\":false,\"profile\":\"Game\"}\n")
        << "a module that is off only stores the choice";

    person.engine.enabled = true;
    person.engine.onSet = [&](IOptimizerEvents&) { person.engine.active = profile::Movie; };
    const Outcome outcome = person.Types({L"profile", L"set", L"Work", L"--wait"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.err, HasSubstr("Somebody chose Movie"));
}

}  // namespace
}  // namespace ctl_test
