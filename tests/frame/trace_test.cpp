// Tracing: what reaches log.dll, when it is loaded and let go, and that nothing depends on its being there.
#include "frame/trace.h"

#include <stdexcept>
#include <string>
#include <vector>

#include "tests/frame/imports.h"
#include "tests/support/simulated_log.h"

namespace optimizer::trace {
namespace {

using frame_test::g_imports;
using test_support::LogCalls;
using Lines = std::vector<std::wstring>;

class Trace : public frame_test::WithImports {};

TEST_F(Trace, SilentWithoutAHolderAndArgumentsStayUnevaluated) {
    const LogCalls log;
    int evaluated = 0;
    const auto traced = [&] {
        TRACE_SCOPE("Class::Method");
        TRACE_LINE(kError, L"%d", ++evaluated);
    };
    traced();
    EXPECT_EQ(evaluated, 0);
    EXPECT_EQ(log.Take(), Lines());
    {
        LogHolder holder;
        holder.Get();
        traced();
        EXPECT_EQ(evaluated, 1);
    }
    traced();
    EXPECT_EQ(evaluated, 1);
}

TEST_F(Trace, ScopesAndLinesReachTheLibraryToTheLetter) {
    const LogCalls log;
    LogHolder holder;
    holder.Get();
    const auto step = [] {
        TRACE_MARKED_SCOPE("Class::Step", L"a message");
        g_imports.timeMs += 5;
        throw std::runtime_error("passes through");
    };
    const auto traced = [&] {
        TRACE_SCOPE("Class::Method");
        g_imports.timeMs += 7;
        TRACE_LINE(kWarning, L"%s %S 0x%x", L"wide", "narrow", 31U);
        step();
    };
    EXPECT_THROW(traced(), std::runtime_error);
    EXPECT_EQ(log.Take(), (Lines{
                              L"LogInit",
                              L"1 32 Class::Method Class::Method: -> Class::Method()",
                              L"0 8 Class::Method Class::Method: wide narrow 0x1f",
                              L"1 32 Class::Step Class::Step: -> [a message]",
                              L"-1 32 Class::Step Class::Step: <- [a message] [5]",
                              L"-1 32 Class::Method Class::Method: <- Class::Method() [12]",
                          }));
}

TEST_F(Trace, ElapsedTimeCrossesTheWrapOfTheClock) {
    const struct {
        uint32_t start;
        uint32_t end;
        const wchar_t* line;
    } kCases[] = {{100, 150, L"-1 32 M M: <- M() [50]"},
                  {0xFFFFFFF0, 0x10, L"-1 32 M M: <- M() [32]"},
                  {0xFFFFFFFF, 0, L"-1 32 M M: <- M() [1]"}};
    const LogCalls log;
    LogHolder holder;
    holder.Get();
    for (const auto& c : kCases) {
        g_imports.timeMs = c.start;
        {
            const LogScope scope("M", L"M");
            g_imports.timeMs = c.end;
        }
        EXPECT_EQ(log.Take().back(), c.line);
    }
}

TEST_F(Trace, LongNamesAreCutToTheirBuffers) {
    const LogCalls log;
    LogHolder holder;
    holder.Get();
    for (const size_t length : {256, 257, 258, 259, 260, 500}) {
        const std::wstring name(length, L'n');
        const std::wstring start = L"1 32 M " + name.substr(0, 259) + L": -> ";
        const std::wstring shown = name.substr(0, 257);
        log.Take();
        { const LogScope scope("M", name.c_str()); }
        { const LogScope scope("M", name.c_str(), name.c_str()); }
        const Lines lines = log.Take();
        EXPECT_EQ(lines[0], start + shown + L"()") << length;
        EXPECT_EQ(lines[2], start + L"[" + shown + L"]") << length;
    }
}

TEST_F(Trace, TheLibraryIsBoundFromTheFirstReferenceToTheLast) {
    {
        const LogCalls log;
        for (int round = 0; round < 2; ++round) {
            LogHolder first, second;
            EXPECT_EQ(first.Get(), second.Get());
            EXPECT_EQ(first.Get(), second.Get()) << "a holder takes one reference, however often it is asked";
            first.Release();
            first.Release();
            EXPECT_TRUE(IsLive());
            EXPECT_EQ(log.Take(), (Lines{L"LogInit"}));
            second.Release();
            EXPECT_FALSE(IsLive());
            EXPECT_EQ(log.Take(), (Lines{L"LogDeinit", L"LogUninitDeskMetrics"}));
        }
    }
    LogHolder holder;
    holder.Get();
    EXPECT_NE(GetModuleHandleW(L"log.dll"), nullptr);
    holder.Release();
    EXPECT_EQ(GetModuleHandleW(L"log.dll"), nullptr);
}

TEST_F(Trace, WithoutTheLibraryOrAnExportEverythingGoesOn) {
    const struct {
        const wchar_t* library;
        const char* missing;
        bool standsIn;
        Lines calls;
    } kCases[] = {
        {L"log.dll", nullptr, true, {}},
        {nullptr, "LogWrite", true, {L"LogInit", L"LogDeinit", L"LogUninitDeskMetrics"}},
        {nullptr, "LogInit", false, {L"0 4 M M: 7", L"LogDeinit", L"LogUninitDeskMetrics"}},
        {nullptr, "LogDeinit", false, {L"LogInit", L"0 4 M M: 7", L"LogUninitDeskMetrics"}},
        {nullptr, "LogUninitDeskMetrics", false, {L"LogInit", L"0 4 M M: 7", L"LogDeinit"}},
    };
    const LogCalls log;
    for (const auto& c : kCases) {
        g_imports.missingLibrary = c.library;
        g_imports.missingExport = c.missing;
        LogHolder holder;
        EXPECT_NE(holder.Get(), nullptr);
        EXPECT_TRUE(IsLive());
        // The stand-in says so itself, whatever it is given.
        const int32_t answer = holder.Get()->Write()(0, &kError, "M", L"M", L"7", {});
        EXPECT_EQ(answer, c.standsIn ? E_NOINTERFACE : 0);
        holder.Release();
        g_imports = {};
        EXPECT_EQ(log.Take(), c.calls) << (c.missing != nullptr ? c.missing : "no library");
    }
}

}  // namespace
}  // namespace optimizer::trace
