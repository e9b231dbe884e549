// log.dll: the form of a line, the limit of the file's size, many writers at once, the settings, and that it
// never gets in its caller's way.
#include "log/log_exports.h"

#include <regex>
#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>

#include "frame/handles.h"
#include "frame/module_path.h"
#include "tools/rig/temporary_folder.h"

namespace {

using testing::EndsWith;

/// A copy of log.dll in a folder of its own, so that each test has a log without a past.
class Log : public testing::Test {
protected:
    Log() {
        const std::wstring copy = folder.File(L"log.dll");
        CopyFileW((optimizer::GetModuleFolder() + L"log.dll").c_str(), copy.c_str(), TRUE);
        library.Reset(LoadLibraryW(copy.c_str()));
    }
    /// Calls a function by its name.
    template <class... Arguments>
    uint32_t Call(const char* name, Arguments... arguments) {
        auto* const function = optimizer::GetExport<uint32_t(Arguments...)>(library.Get(), name);
        if (function == nullptr) throw std::runtime_error(name);
        return function(arguments...);
    }
    uint32_t Line(int32_t nesting, int32_t level, const wchar_t* format, ...) {
        va_list arguments;
        va_start(arguments, format);
        const uint32_t result = Call("LogWrite", nesting, &level, "C::F", L"C::F", format, arguments);
        va_end(arguments);
        return result;
    }
    /// The lines without time and ids. A last line without its line break doesn't count: it isn't whole.
    std::vector<std::string> Lines(const wchar_t* suffix = L"") {
        const std::string text = rig::ReadFileText(file + suffix);
        const std::regex form(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \[\d+:\d+\] ([^\r\n]*)\r\n)");
        return {std::sregex_token_iterator(text.begin(), text.end(), form, 1), {}};
    }
    size_t Size(const wchar_t* suffix = L"") { return rig::ReadFileText(file + suffix).size(); }

    rig::TemporaryFolder folder;  // declared first: a loaded library's file can't be removed
    const std::wstring file = folder.File(L"logs\\log_tests.log");
    optimizer::Library library;
};

TEST_F(Log, ALineTellsHowBadAndNoTextCanPassForFurtherLinesOrDriveATerminal) {
    Call("LogInit");
    Call("LogSetLevel", 16);
    Line(0, 4, L"failed with %d", 5);
    Line(0, 16, L"%s and %S", L"wide \x20AC", "narrow");
    Line(0, 17, L"one level too detailed");
    Line(0, 8, L"%s", L"a\r\n2024 forged\tb\x1b[2J\x2028\x85");
    Line(0, 4, L"%s", std::wstring(2001, L'x').c_str());
    EXPECT_THAT(Lines(), testing::ElementsAre("error   C::F: failed with 5",
                                              "info    C::F: wide \xE2\x82\xAC and narrow",
                                              R"(warning C::F: a\r\n2024 forged\tb\x1b[2J\u2028\x85)",
                                              "error   C::F: " + std::string(2000, 'x') + "..."));
}

TEST_F(Log, TheFileStaysWithinItsSizeAndKeepsTheNewestLines) {
    Call("LogInit");
    Call("LogSetMaxSize", uint64_t{1000});
    for (int i = 0; i < 50; ++i)
        Line(0, 4, L"number %02d", i);
    auto lines = Lines(L".1");
    EXPECT_FALSE(lines.empty());
    EXPECT_LE(Size(), 1000u);
    EXPECT_LE(Size(L".1"), 1000u);
    const auto newest = Lines();
    lines.insert(lines.end(), newest.begin(), newest.end());
    for (size_t i = 0; i < lines.size(); ++i)
        EXPECT_THAT(lines[lines.size() - 1 - i], EndsWith(std::to_string(49 - i)));

    ASSERT_TRUE(DeleteFileW((file + L".1").c_str()));
    ASSERT_TRUE(CreateDirectoryW((file + L".1").c_str(), nullptr));
    for (int i = 0; i < 50; ++i)
        Line(0, 4, L"number %02d", i);
    EXPECT_LE(Size(), 1000u) << "also when the old file can't be put aside";
    EXPECT_THAT(Lines().back(), EndsWith("number 49"));
}

TEST_F(Log, ManyWritersWriteWholeLinesInTheirOrder) {
    constexpr int kLines = 400;
    Call("LogInit");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kLines; ++i)
                Line(0, 4, L"writer %d line %d.", t, i);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    int next[4] = {};
    for (const std::string& line : Lines()) {
        const int writer = line.at(21) - '0';
        EXPECT_EQ(line.substr(21),
                  std::to_string(writer) + " line " + std::to_string(next[writer & 3]++) + ".");
    }
    EXPECT_THAT(next, testing::Each(kLines));
}

}  // namespace
