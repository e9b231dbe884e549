// What a boot cost, as the verbs show it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "border/boot_time.h"

namespace ctl {

/// What a process is measured by, in the order of kSortNames.
enum class Cost { Cpu, Kernel, User, Read, Written, Other };
inline constexpr Cost kCosts[] = {Cost::Cpu,  Cost::Kernel,  Cost::User,
                                  Cost::Read, Cost::Written, Cost::Other};

/// The orders of --sort: the costs, then the name and the process id.
inline constexpr const wchar_t* kSortNames[] = {L"cpu",     L"kernel", L"user", L"read",
                                                L"written", L"other",  L"name", L"pid"};
inline constexpr size_t kByName = 6;
inline constexpr size_t kByPid = 7;

struct BootProcess {
    uint64_t pid;
    uint64_t ppid;
    std::wstring path;
    boottime::ProcessCounters counters;

    /// The path's last part.
    std::wstring Name() const;
    /// Milliseconds of CPU time, both kinds or one, or bytes. Negative bytes are a counter that wrapped.
    int64_t Of(Cost cost) const;
};

struct BootFigures {
    uint32_t timeMs = 0;
    std::vector<BootProcess> processes;
    std::optional<boottime::DiskSpeed> disk;
};

/// The sum of a cost over the processes whose figure tells it. In 64 bits and here, since the service's own
/// sum has 32 and wraps.
struct CostTotal {
    uint64_t sum = 0;
    bool isWhole = true;  // false when a counter wrapped
};
CostTotal TotalOf(const std::vector<BootProcess>& processes, Cost cost);

/// From 0 to 1; nothing for a counter that wrapped, and when nobody has any of the cost.
std::optional<double> ShareOf(int64_t value, const CostTotal& total);

/// The greatest cost first, and a wrapped counter above all that isn't; names and ids ascending. `order` is
/// an index of kSortNames.
void Sort(std::vector<BootProcess>& processes, size_t order);

/// "-1,234,567"
std::wstring Grouped(int64_t number);
/// "12.3%"
std::wstring Percent(double hundredth);
/// A number with one digit behind the point.
std::wstring OneDecimal(double number);

}  // namespace ctl
