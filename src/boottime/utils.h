#pragma once

#include <cstdint>
#include <vector>

#include <windows.h>

#include "frame/vx_string.h"

namespace boottime::utils {

inline constexpr uint32_t kTicksPerMs = 10000;  // ticks of a FILETIME, 100 ns each

inline uint64_t ToTicks(const FILETIME& time) noexcept {
    return uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}
inline int64_t ToMs(const FILETIME& time) noexcept {
    return static_cast<int64_t>(ToTicks(time)) / kTicksPerMs;
}

/// Milliseconds since 1 January 1601 UTC.
int64_t SystemTimeMs();
/// The moment the machine started, on the same scale. Wanders with the corrections of the clock.
int64_t SystemStartTimeMs();

/// The first 1024 processes at most; empty on failure.
std::vector<DWORD> GetAllProcessesPids();
/// The image's full path; empty on failure.
vx::String GetProcessName(HANDLE process);

}  // namespace boottime::utils
