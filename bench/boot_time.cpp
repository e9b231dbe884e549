// What the measurement of a boot costs, over the system calls that it can't do without.
#include <algorithm>
#include <stdexcept>

#include <windows.h>

#include "bench/harness.h"
#include "boottime/boot_time_data.h"
#include "boottime/processes.h"

namespace bench {

namespace {

constexpr DWORD kFirstPid = 0x40000000;  // of processes that are this one under another number

HANDLE WINAPI Open(DWORD access, BOOL inherits, DWORD pid) {
    static const auto real =
        optimizer::GetExport<decltype(OpenProcess)>(LoadLibraryW(L"kernel32.dll"), "OpenProcess");
    return real(access, inherits, pid < kFirstPid ? pid : GetCurrentProcessId());
}

constexpr uint32_t kProcesses = 500;

/// The calls for as many processes, on handles of the same kind.
class BareCalls {
public:
    BareCalls() {
        for (optimizer::KernelHandle& handle : m_handles)
            handle.Reset(Open(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, kFirstPid));
    }

    void Make(uint32_t count) {
        for (uint32_t i = 0; i < count; ++i) {
            FILETIME times[4];
            IO_COUNTERS transfers;
            if (!GetProcessTimes(m_handles[i].Get(), &times[0], &times[1], &times[2], &times[3]) ||
                !GetProcessIoCounters(m_handles[i].Get(), &transfers)) {
                throw std::runtime_error("a process doesn't tell what it uses");
            }
            Keep(&transfers);
        }
    }

private:
    optimizer::KernelHandle m_handles[kProcesses];
};

size_t CountSamples(boottime::BootTimeData& data) {
    size_t count = 0;
    data.WithSamples([&](const boottime::BootTimeData::Samples& samples) {
        for (const auto& [process, taken] : samples)
            count += taken.size();
    });
    return count;
}

/// One boot in which the processes start one after another, and what its passes took.
struct Boot {
    static constexpr uint32_t kPassCount = 120;
    static constexpr uint32_t kStartingPasses = 90;

    Boot() {
        BareCalls calls;
        boottime::Processes processes(&data);
        uint32_t started = 0;
        size_t samples = 0;
        for (uint32_t pass = 0; pass < kPassCount; ++pass) {
            for (; started < std::min((pass + 1) * kProcesses / kStartingPasses, kProcesses); ++started)
                processes.Add(kFirstPid + started);
            const auto update = [&] { processes.Update(); };
            oursTicks += TimeOf(update, 1);
            const size_t taken = CountSamples(data) - samples;
            samples += taken;
            const auto bare = [&] { calls.Make(static_cast<uint32_t>(taken)); };
            bareTicks += TimeOf(bare, 1);
        }
        if (started != kProcesses || samples < size_t{kProcesses} * 12) {
            throw std::runtime_error("the processes weren't watched as they should be");
        }
    }

    boottime::BootTimeData data;
    int64_t oursTicks = 0;
    int64_t bareTicks = 0;
};

}  // namespace

Figure BootPass() {
    constexpr uint32_t kRounds = 4;
    constexpr uint32_t kPassCount = 11;  // nothing leaves the watch before its twelfth sample
    Figure figure{"sampling pass over 500 processes", "GetProcessTimes, GetProcessIoCounters", 1.15, {}, {}};
    BareCalls calls;
    const auto bare = [&] { calls.Make(kProcesses); };
    for (int pass = 0; pass < kPasses; ++pass) {
        int64_t oursTicks = 0;
        int64_t bareTicks = 0;
        for (uint32_t round = 0; round < kRounds; ++round) {
            boottime::BootTimeData data;
            boottime::Processes processes(&data);
            for (uint32_t i = 0; i < kProcesses; ++i)
                processes.Add(kFirstPid + i);
            const auto ours = [&] { processes.Update(); };
            for (uint32_t i = 0; i < kPassCount; ++i) {
                oursTicks += TimeOf(ours, 1);
                bareTicks += TimeOf(bare, 1);
            }
            if (CountSamples(data) != size_t{kProcesses} * kPassCount)
                throw std::runtime_error("a sample is missing");
        }
        figure.values.push_back(static_cast<double>(oursTicks) / static_cast<double>(bareTicks));
    }
    return figure;
}

Figure BootMemory() {
    constexpr size_t kHeapHeader = 16;  // of each allocation
    Boot boot;
    size_t bytes = 0;
    boot.data.WithSamples([&](const boottime::BootTimeData::Samples& samples) {
        for (const auto& [process, taken] : samples)
            bytes += taken.capacity() * sizeof(boottime::ProcessSample) + kHeapHeader;
    });
    const double perSample = static_cast<double>(bytes) / static_cast<double>(CountSamples(boot.data));
    return {"memory of a stored sample", "bytes", 32, {perSample}, {}};
}

Figure WholeBoot() {
    Figure figure{"boot, 500 processes, 120 passes", "GetProcessTimes, GetProcessIoCounters", 1.15, {}, {}};
    for (int pass = 0; pass < kPasses; ++pass) {
        const Boot boot;
        figure.values.push_back(static_cast<double>(boot.oursTicks) / static_cast<double>(boot.bareTicks));
        figure.note = std::to_string(static_cast<double>(boot.oursTicks) / TicksPerMs()) +
                      " ms for all passes, of which the bare calls " +
                      std::to_string(static_cast<double>(boot.bareTicks) / TicksPerMs()) + " ms";
    }
    return figure;
}

}  // namespace bench

// The linker takes this for the program's import.
extern "C" {
decltype(&OpenProcess) __imp_OpenProcess = &bench::Open;
}
