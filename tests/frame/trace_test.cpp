// Tracing: what reaches log.dll, and that nothing depends on its being there.
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
    g_imports.timeMs = 0xFFFFFFF8;  // the clock wraps within both scopes
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

}  // namespace
}  // namespace optimizer::trace
