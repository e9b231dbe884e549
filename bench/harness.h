// What the figures share: our code is timed against the bare system work that it stands on, in the same
// passes of the same process, so that a busy machine slows both alike.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <windows.h>

namespace bench {

/// One line of the table.
struct Figure {
    std::string what;
    std::string against;
    double limit = 0;            // for the median
    std::vector<double> values;  // one for each pass
    std::string note;            // printed below the table
};

inline constexpr int kPasses = 9;
inline constexpr int kSlices = 16;       // of each side in one pass
inline constexpr double kSliceMs = 2.5;  // at least: a pass takes 40 ms of either side

inline int64_t Ticks() {
    LARGE_INTEGER now = {};
    QueryPerformanceCounter(&now);
    return now.QuadPart;
}

inline double TicksPerMs() {
    LARGE_INTEGER frequency = {};
    QueryPerformanceFrequency(&frequency);
    return static_cast<double>(frequency.QuadPart) / 1000;
}

inline volatile uintptr_t g_seen = 0;

/// Makes the compiler believe that somebody looks at what is there.
inline void Keep(const void* address) {
    g_seen = reinterpret_cast<uintptr_t>(address);
    g_seen = 0;  // the address is of no use to anybody later
}

template <class Work>
int64_t TimeOf(Work& work, uint32_t count) {
    const int64_t start = Ticks();
    for (uint32_t i = 0; i < count; ++i)
        work();
    return Ticks() - start;
}

/// How often a slice runs the work; warms both sides up while it finds out.
template <class Ours, class Bare>
uint32_t CountForSlice(Ours& ours, Bare& bare) {
    const auto wanted = static_cast<int64_t>(kSliceMs * TicksPerMs());
    for (uint32_t count = 1;; count *= 2) {
        const int64_t oursTicks = TimeOf(ours, count);
        const int64_t bareTicks = TimeOf(bare, count);
        if (std::min(oursTicks, bareTicks) >= wanted) return count;
    }
}

/// The time of `ours` as a multiple of the time of `bare`, for each pass. The slices of the two alternate,
/// and so does which one goes first.
template <class Ours, class Bare>
std::vector<double> Ratios(Ours ours, Bare bare) {
    const uint32_t count = CountForSlice(ours, bare);
    std::vector<double> ratios;
    for (int pass = 0; pass < kPasses; ++pass) {
        int64_t oursTicks = 0;
        int64_t bareTicks = 0;
        for (int slice = 0; slice < kSlices; ++slice) {
            const bool oursFirst = slice % 2 == 0;
            if (oursFirst) oursTicks += TimeOf(ours, count);
            bareTicks += TimeOf(bare, count);
            if (!oursFirst) oursTicks += TimeOf(ours, count);
        }
        ratios.push_back(static_cast<double>(oursTicks) / static_cast<double>(bareTicks));
    }
    return ratios;
}

// The figures, in the files of their subjects. What goes wrong is thrown as std::runtime_error.
Figure TraceSite();
Figure TraceScope();
Figure ReadLock();
Figure ProfileChange();
Figure QueueOneByOne();
Figure QueueBatch();
Figure PipeCall();
Figure PipeBroadcast();
Figure HostMemory();
Figure BootPass();
Figure BootMemory();
Figure WholeBoot();

}  // namespace bench
