#pragma once

#include <gtest/gtest.h>
#include <windows.h>

namespace frame_test {

/// Stands for the system's own handling, which would start a debugger: ends the process with the exception's
/// code.
inline LONG WINAPI EndWithItsCode(EXCEPTION_POINTERS* exception) {
    TerminateProcess(GetCurrentProcess(), exception->ExceptionRecord->ExceptionCode);
    return EXCEPTION_EXECUTE_HANDLER;
}

/// The exception by which the code ends the process over a broken rule.
inline constexpr int kBrokenRule = static_cast<int>(0xE0565831);

}  // namespace frame_test

/// The statement, in a process of its own, raises the exception and nobody handles it.
#define EXPECT_ENDS_PROCESS(statement)                                \
    EXPECT_EXIT(                                                      \
        {                                                             \
            SetUnhandledExceptionFilter(&frame_test::EndWithItsCode); \
            statement;                                                \
        },                                                            \
        testing::ExitedWithCode(frame_test::kBrokenRule), "")
