// What the measurement decides, as functions of what it saw. The clock is among their inputs; ticks are those
// of GetTickCount.
#pragma once

#include <cstdint>
#include <optional>

#include "boottime/process_sample.h"

namespace boottime {

/// Where the measurement of a boot, or one part of it, stands. The values are those of the border.
enum class Status : uint32_t {
    Ready = kResultsThere,
    Measuring = kStillMeasuring,
    Failed = kNoResults,
};

/// Two start times of the machine, in milliseconds, that tell of one boot: they differ by the clock's
/// corrections alone.
bool IsSameBoot(int64_t storedMs, int64_t currentMs);

/// What the watch knows of a process between two samples.
struct WatchState {
    ProcessCounters last = {};
    uint32_t sampleCount = 0;  // taken and kept so far
    uint32_t idleCount = 0;    // quiet samples in a row
    uint32_t lastTick = 0;     // of the last sample; the moment of creation at first
};

struct SampleVerdict {
    uint32_t idleCount;
    bool leaves;  // the watch; the sample itself is kept
};
SampleVerdict JudgeSample(const WatchState& state, uint32_t now, const ProcessCounters& counters);

/// Whether processes that start are still taken into the watch.
bool TakesNewProcesses(bool isLogged, uint32_t now, uint32_t loginTick);

inline constexpr uint32_t kUptimeLimitMs = 7200000;  // two hours

/// Whether the machine has run for so long that nobody waits for its boot any more.
bool IsBootOverdue(uint32_t now);

/// The boot time, once the watch is empty and the user has been there for long enough. `quietTick` is when
/// the machine first fell quiet at the logon screen, 0 when it didn't: the wait for a user isn't part of the
/// boot.
std::optional<uint32_t> FinishedBootTime(uint32_t now, uint32_t loginTick, uint32_t quietTick);

/// What came of the system's boot event.
enum class BootEventStatus : uint32_t {
    Arrived = 0,
    Retry = 1,    // no subscription, or an event without its values
    Nothing = 2,  // yet
    TooEarly = 3  // written before the monitor started
};

inline constexpr uint32_t kHasBootTime = 1;  // flags of an event
inline constexpr uint32_t kHasFileTime = 2;

/// Nothing for an event of an earlier boot. Times are milliseconds since 1601.
std::optional<BootEventStatus> JudgeBootEvent(uint32_t flags, int64_t writtenMs, int64_t machineStartMs,
                                              int64_t monitorStartMs);

/// Adds to the impact what the CPU did between two samples that are neighbours. A time that fell, or grew by
/// more than the clock did, isn't believed.
void AddCpuStep(const ProcessSample& previous, const ProcessSample& next, ProcessCounters& impact);
/// The same for the transfers, which may grow by any amount.
void AddTransferStep(const ProcessSample& previous, const ProcessSample& next, ProcessCounters& impact);
/// All five counters; sums wrap.
void AddCounters(const ProcessCounters& counters, ProcessCounters& total);

/// Whether the processors are idle enough for the disk to be measured, or have been waited for long enough.
/// `idle100ns` is the sum over the processors during the last `elapsedMs`.
bool MayMeasureDisk(uint64_t idle100ns, uint32_t processors, uint32_t elapsedMs, uint32_t waitedMs);

}  // namespace boottime
