#pragma once

#include <cstdlib>

#include <windows.h>

namespace optimizer {

/// Ends the process through an exception that nobody handles: for overwritten memory and broken lock rules,
/// after which going on would do more harm than ending.
[[noreturn]] inline void EndProcess() {
    constexpr DWORD kProgrammingError = 0xE0565831;  // an application-defined exception code
    RaiseException(kProgrammingError, EXCEPTION_NONCONTINUABLE, 0, nullptr);
    TerminateProcess(GetCurrentProcess(), kProgrammingError);
    std::abort();
}

}  // namespace optimizer
