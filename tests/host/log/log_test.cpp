// What log.dll puts into its file: the form of a line, the limit of its size, and many writers at once.
#include <map>
#include <regex>
#include <thread>

#include <gmock/gmock.h>

#include "tests/host/log/loaded_log.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;

TEST(LogLine, TellsWhenWhereAndHowBad) {
    const LoadedLog log;
    log.Get<decltype(LogInit)>("LogInit")();
    log.Get<decltype(LogSetLevel)>("LogSetLevel")(16);
    log.Write(4, L"failed with %d", 5);
    log.Write(16, L"%s and %S", L"wide \x20AC", "narrow");
    log.Write(17, L"one level too detailed");

    const auto lines = LinesOf(log.DefaultFile());
    ASSERT_EQ(lines.size(), 2u);
    const std::string process = std::to_string(GetCurrentProcessId());
    const std::string ids = '[' + process + ':' + std::to_string(GetCurrentThreadId()) + ']';
    EXPECT_TRUE(
        std::regex_match(lines[0].substr(0, 23), std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3})")));
    EXPECT_EQ(lines[0].substr(23), " " + ids + " error   C::F: failed with 5");
    EXPECT_THAT(lines[1], EndsWith(" info    C::F: wide \xE2\x82\xAC and narrow"));
}

TEST(LogLine, NoTextCanPassForFurtherLinesOrDriveATerminal) {
    const LoadedLog log;
    log.Get<decltype(LogInit)>("LogInit")();
    log.Write(4, L"%s",
              L"a\r\n2024-01-01 forged\tb\x1b[2J\x2028"
              L"c\x85"
              L"d");
    log.Write(4, L"%s", std::wstring(2001, L'x').c_str());
    log.Write(4, L"%s", std::wstring(2000, L'y').c_str());

    const auto lines = LinesOf(log.DefaultFile());
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_THAT(lines[0], EndsWith(R"(: a\r\n2024-01-01 forged\tb\x1b[2J\u2028c\x85d)"));
    EXPECT_THAT(lines[1], EndsWith(": " + std::string(2000, 'x') + "..."));
    EXPECT_THAT(lines[2], EndsWith(": " + std::string(2000, 'y')));
}

TEST(LogLine, IsIndentedByItsThreadsNesting) {
    const LoadedLog log;
    const auto setLevel = log.Get<decltype(LogSetLevel)>("LogSetLevel");
    log.Get<decltype(LogInit)>("LogInit")();
    setLevel(32);
    log.Scope(1);
    log.Scope(1);
    log.Write(4, L"inside");
    std::thread([&] { log.Write(4, L"elsewhere"); }).join();
    log.Scope(-1);
    log.Scope(-1);
    log.Scope(-1);  // a leave line whose entry was never seen
    log.Scope(1);
    setLevel(8);
    log.Scope(-1);  // not written, so the thread would stay indented if the change of level were missed
    setLevel(32);
    log.Write(4, L"outside");

    std::vector<std::string> shown;
    for (const std::string& line : LinesOf(log.DefaultFile())) {
        const size_t word = line.find("] ");
        shown.push_back(line.substr(word + 2 + 8));
    }
    EXPECT_THAT(shown,
                ElementsAre("C::F: scope", "  C::F: scope", "    C::F: inside", "C::F: elsewhere",
                            "  C::F: scope", "C::F: scope", "C::F: scope", "C::F: scope", "C::F: outside"));
}

TEST(LogFile, StaysWithinItsSizeAndKeepsTheNewestLines) {
    const LoadedLog log;
    log.Get<decltype(LogInit)>("LogInit")();
    log.Get<decltype(LogSetMaxSize)>("LogSetMaxSize")(1000);
    for (int i = 0; i < 50; ++i)
        log.Write(4, L"number %02d", i);

    auto lines = LinesOf(log.DefaultFile() + L".1");
    const auto newest = LinesOf(log.DefaultFile());
    EXPECT_FALSE(lines.empty());
    EXPECT_FALSE(newest.empty());
    EXPECT_LE(test_support::ReadFileText(log.DefaultFile()).size(), 1000u);
    EXPECT_LE(test_support::ReadFileText(log.DefaultFile() + L".1").size(), 1000u);
    lines.insert(lines.end(), newest.begin(), newest.end());
    for (size_t i = 0; i < lines.size(); ++i) {
        EXPECT_THAT(lines[lines.size() - 1 - i], EndsWith(std::to_string(49 - i)));
    }
}

TEST(LogFile, StaysWithinItsSizeWhenTheOldOneCannotBePutAside) {
    const LoadedLog log;
    log.Get<decltype(LogInit)>("LogInit")();
    log.Get<decltype(LogSetMaxSize)>("LogSetMaxSize")(1000);
    log.Write(4, L"first");
    ASSERT_TRUE(CreateDirectoryW((log.DefaultFile() + L".1").c_str(), nullptr));
    for (int i = 0; i < 50; ++i)
        log.Write(4, L"number %02d", i);
    EXPECT_LE(test_support::ReadFileText(log.DefaultFile()).size(), 1000u);
    EXPECT_THAT(LinesOf(log.DefaultFile()).back(), EndsWith("number 49"));
}

TEST(LogFile, GoesOnInAnOldFileOrPutsItAside) {
    const LoadedLog log;
    const auto init = log.Get<decltype(LogInit)>("LogInit");
    const auto deinit = log.Get<decltype(LogDeinit)>("LogDeinit");
    const auto setMode = log.Get<decltype(LogSetMode)>("LogSetMode");
    for (int run = 0; run < 2; ++run) {
        init();
        log.Write(4, L"run");
        deinit();
    }
    EXPECT_EQ(LinesOf(log.DefaultFile()).size(), 2u);
    EXPECT_EQ(setMode(2), uint32_t{ERROR_INVALID_PARAMETER});
    setMode(1);
    init();
    log.Write(4, L"run");
    EXPECT_EQ(LinesOf(log.DefaultFile()).size(), 1u);
    EXPECT_EQ(LinesOf(log.DefaultFile() + L".1").size(), 2u);
}

TEST(LogFile, ManyWritersWriteWholeLinesInTheirOrder) {
    constexpr int kThreads = 4;
    constexpr int kLines = 400;
    const LoadedLog log;
    log.Get<decltype(LogInit)>("LogInit")();
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kLines; ++i)
                log.Write(4, L"writer %d line %d.", t, i);
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    const std::regex form(R"(.* error   C::F: writer (\d) line (\d+)\.)");
    std::map<int, int> next;
    for (const std::string& line : LinesOf(log.DefaultFile())) {
        std::smatch found;
        ASSERT_TRUE(std::regex_match(line, found, form)) << line;
        EXPECT_EQ(std::stoi(found[2]), next[std::stoi(found[1])]++);
    }
    for (int t = 0; t < kThreads; ++t)
        EXPECT_EQ(next[t], kLines);
}

}  // namespace
