#include "boottime/decisions.h"

namespace boottime {

namespace {

constexpr uint64_t kSameBootMs = 2000;
constexpr uint32_t kMostSamples = 30;  // then a process leaves, however busy it is
constexpr uint32_t kUnjudgedSamples = 2;
constexpr int64_t kQuietPercent = 20;   // of one processor
constexpr uint32_t kQuietSamples = 10;  // in a row
constexpr uint32_t kNewProcessesMs = 180000;
constexpr uint32_t kUserThereMs = 60000;
constexpr double kIdleShare = 0.8;
constexpr uint32_t kLongestDiskWaitMs = 10000;
constexpr uint64_t kTicksPerMs = 10000;

/// The counters are numbers of 32 bits that wrap.
int32_t Difference(int32_t later, int32_t earlier) {
    return static_cast<int32_t>(static_cast<uint32_t>(later) - static_cast<uint32_t>(earlier));
}

void Add(int32_t value, int32_t& sum) {
    sum = static_cast<int32_t>(static_cast<uint32_t>(sum) + static_cast<uint32_t>(value));
}

/// Of one processor. A time that fell or outran the clock counts for nothing.
int64_t LoadPercent(int32_t deltaMs, uint32_t elapsedMs) {
    if (deltaMs < 0 || deltaMs > int64_t{elapsedMs} || elapsedMs == 0) return 0;
    return int64_t{deltaMs} * 100 / elapsedMs;
}

void AddCpuTime(int32_t deltaMs, int32_t elapsedMs, int32_t& sum) {
    if (deltaMs >= 0 && deltaMs <= elapsedMs) Add(deltaMs, sum);
}

void AddTransfer(int32_t delta, int32_t& sum) {
    if (delta >= 0) Add(delta, sum);
}

}  // namespace

bool IsSameBoot(int64_t storedMs, int64_t currentMs) {
    const auto stored = static_cast<uint64_t>(storedMs);
    const auto current = static_cast<uint64_t>(currentMs);
    return (storedMs > currentMs ? stored - current : current - stored) < kSameBootMs;
}

SampleVerdict JudgeSample(const WatchState& state, uint32_t now, const ProcessCounters& counters) {
    if (state.sampleCount >= kMostSamples) return {state.idleCount, true};
    // A clock that wrapped tells nothing about the time between the samples.
    if (state.sampleCount < kUnjudgedSamples || now < state.lastTick) return {0, false};
    const uint32_t elapsedMs = now - state.lastTick;
    const int64_t load =
        LoadPercent(Difference(counters.cpuKernelTime, state.last.cpuKernelTime), elapsedMs) +
        LoadPercent(Difference(counters.cpuUserTime, state.last.cpuUserTime), elapsedMs);
    if (load >= kQuietPercent) return {0, false};
    const uint32_t idleCount = state.idleCount + 1;
    return {idleCount, idleCount >= kQuietSamples};
}

bool TakesNewProcesses(bool isLogged, uint32_t now, uint32_t loginTick) {
    return !isLogged || now - loginTick < kNewProcessesMs;
}

bool IsBootOverdue(uint32_t now) {
    return now > kUptimeLimitMs;
}

std::optional<uint32_t> FinishedBootTime(uint32_t now, uint32_t loginTick, uint32_t quietTick) {
    const uint32_t sinceLogon = now - loginTick;
    if (sinceLogon <= kUserThereMs) return std::nullopt;
    return quietTick == 0 ? now : quietTick + sinceLogon;
}

std::optional<BootEventStatus> JudgeBootEvent(uint32_t flags, int64_t writtenMs, int64_t machineStartMs,
                                              int64_t monitorStartMs) {
    if (flags != (kHasBootTime | kHasFileTime)) return BootEventStatus::Retry;
    if (writtenMs < machineStartMs) return std::nullopt;
    return writtenMs >= monitorStartMs ? BootEventStatus::Arrived : BootEventStatus::TooEarly;
}

// Each delta is taken against the direct neighbour, believed or not: one impossible sample costs two steps,
// and what was dropped isn't made up for later.
void AddCpuStep(const ProcessSample& previous, const ProcessSample& next, ProcessCounters& impact) {
    const auto elapsedMs = static_cast<int32_t>(next.tick - previous.tick);
    const ProcessCounters& from = previous.counters;
    const ProcessCounters& to = next.counters;
    AddCpuTime(Difference(to.cpuKernelTime, from.cpuKernelTime), elapsedMs, impact.cpuKernelTime);
    AddCpuTime(Difference(to.cpuUserTime, from.cpuUserTime), elapsedMs, impact.cpuUserTime);
}

void AddTransferStep(const ProcessSample& previous, const ProcessSample& next, ProcessCounters& impact) {
    const ProcessCounters& from = previous.counters;
    const ProcessCounters& to = next.counters;
    AddTransfer(Difference(to.bytesRead, from.bytesRead), impact.bytesRead);
    AddTransfer(Difference(to.bytesWritten, from.bytesWritten), impact.bytesWritten);
    AddTransfer(Difference(to.bytesOther, from.bytesOther), impact.bytesOther);
}

void AddCounters(const ProcessCounters& counters, ProcessCounters& total) {
    Add(counters.cpuKernelTime, total.cpuKernelTime);
    Add(counters.cpuUserTime, total.cpuUserTime);
    Add(counters.bytesRead, total.bytesRead);
    Add(counters.bytesWritten, total.bytesWritten);
    Add(counters.bytesOther, total.bytesOther);
}

bool MayMeasureDisk(uint64_t idle100ns, uint32_t processors, uint32_t elapsedMs, uint32_t waitedMs) {
    if (waitedMs > kLongestDiskWaitMs) return true;
    if (processors == 0 || elapsedMs == 0) return false;
    const uint64_t idleMs = idle100ns / kTicksPerMs / processors;
    return static_cast<double>(idleMs) / elapsedMs > kIdleShare;
}

}  // namespace boottime
