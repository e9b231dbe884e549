// How long the machine's boot took and what each process cost it, as its clients see it.
#pragma once

#include <stddef.h>

#include "border/list.h"
#include "border/plugin.h"

namespace boottime {

/// What a process has used. The layout is a format, in memory, in files and on the pipe.
///
/// The byte counters are the low 32 bits of the system's, taken as signed numbers: beyond 2 GiB they wrap.
/// Nothing widens them.
struct ProcessCounters {
    int32_t cpuKernelTime;  // ms
    int32_t cpuUserTime;    // ms
    int32_t bytesRead;
    int32_t bytesWritten;
    int32_t bytesOther;
};
static_assert(sizeof(ProcessCounters) == 20);

/// How busy the disks were, as plug-in "LoadUsage" tells it.
struct DiskSpeed {
    // NOLINTBEGIN(readability-identifier-naming): so they are called in traces and by clients
    double min_hddUsage;
    double max_hddUsage;
    double average_hddUsage;
    // NOLINTEND(readability-identifier-naming)
};
static_assert(sizeof(DiskSpeed) == 24);

/// One process and its cost, in frame/process_impact.h.
struct ProcessImpact;

/// Results of the measurement's operations; any other value is an error of the operation.
inline constexpr uint32_t kResultsThere = 0;
inline constexpr uint32_t kStillMeasuring = 1;
inline constexpr uint32_t kNoResults = 2;

/// Hears the end of the measurement, on the thread that measured; an observer neither registers nor
/// unregisters from inside.
struct IBootTimeEvents {
    virtual void OnDataAnalysed(uint32_t status) = 0;  // 0
};

/// Plug-in "boottime". Any thread may call; nothing blocks. Outputs are written on 0 only, except where told.
struct IBootTime : IServPlugin {
    static constexpr Identifier kIdentifier = {
        0x0dcc397b, 0x520b, 0x9a91, {0xc0, 0x46, 0xc2, 0xd0, 0x4b, 0xe3, 0xe9, 0x70}};

    virtual uint32_t GetBootTime(uint32_t* timeMs) = 0;               // 5
    virtual uint32_t GetTotalBootImpact(ProcessCounters* total) = 0;  // 6
    /// Adds the processes that match to the caller's list, behind what it held, by ascending pid. A field of
    /// the filter that is 0 or empty matches every process.
    ///
    /// The filter is a copy of the caller's that the caller destroys: compilers disagree on who ends a class
    /// that is passed by value, but all of them pass its address.
    virtual uint32_t GetBootImpact(vx::IList<ProcessImpact>* list, ProcessImpact* filter) = 0;  // 7
    /// The status is the disk measurement's own; the figures, zeros before it ran, are always written.
    virtual uint32_t GetDiskSpeed(DiskSpeed* speed) = 0;  // 8
    /// 0, or 183 for an observer that is there already.
    virtual uint32_t AddEventsObserver(IBootTimeEvents* observer) = 0;     // 9
    virtual uint32_t RemoveEventsObserver(IBootTimeEvents* observer) = 0;  // 10
};

/// Component "boottimecomm": the plug-in's operations on the pipe kBootTimePipe.
struct IBootTimeComm : IServPlugin {
    static constexpr Identifier kIdentifier = {
        0xbb609b79, 0xb247, 0x8d8b, {0xc4, 0x4f, 0xa4, 0xca, 0xe7, 0x00, 0x74, 0x6e}};

    virtual void* DeletingDestructor(uint32_t flags) = 0;  // 5
};

/// Component "boottimecommclient", one object per use. Start connects and fails with 8 after five seconds
/// without a service. The operations must not be called unless Start returned 0; each blocks for five seconds
/// at most and gives 2 for an error of the connection.
///
/// GetTotalBootImpact asks for the boot time, which lands in `cpuKernelTime`, and leaves the other counters
/// alone: clients in the field are used to it. GetTotalBootImpactAsync asks for the counters.
struct IBootTimeCommClient : IBootTime {
    static constexpr Identifier kIdentifier = {
        0x4db55c0b, 0x4275, 0x8382, {0x04, 0x42, 0x2d, 0x63, 0x58, 0x01, 0x3b, 0xf9}};

    virtual void* DeletingDestructor(uint32_t flags) = 0;  // 11
};

/// Hears the answers to asynchronous requests, on the connector's threads. `*error` is 0 with an answer; with
/// an error the figures are zeros and the list is empty, never null. Pointers are valid during the call only.
struct IBootTimeResponse {
    virtual void OnGetBootTime(const uint32_t* error, uint32_t timeMs) = 0;                      // 0
    virtual void OnGetTotalBootImpact(const uint32_t* error, const ProcessCounters* total) = 0;  // 1
    virtual void OnGetBootImpact(const uint32_t* error, vx::IList<ProcessImpact>* list) = 0;     // 2
    virtual void OnGetDiskSpeed(const uint32_t* error, const DiskSpeed* speed) = 0;              // 3
};

/// The same requests without waiting for the answers. Each gives the connector's code.
struct IBootTimeCommClientAsync : IVxBaseInterface {
    static constexpr Identifier kIdentifier = {
        0x22cb8862, 0x9115, 0x8b9a, {0xe1, 0x40, 0xa3, 0xfd, 0x67, 0x6a, 0xe4, 0xeb}};

    virtual uint32_t GetBootTimeAsync() = 0;                                   // 1
    virtual uint32_t GetTotalBootImpactAsync() = 0;                            // 2
    virtual uint32_t GetBootImpactAsync(ProcessImpact* filter) = 0;            // 3
    virtual uint32_t GetDiskSpeedAsync() = 0;                                  // 4
    virtual uint32_t AddResponseObserver(IBootTimeResponse* observer) = 0;     // 5
    virtual uint32_t RemoveResponseObserver(IBootTimeResponse* observer) = 0;  // 6
};

inline constexpr const wchar_t* kBootTimePipe = L"boottimepipe";

}  // namespace boottime
