#pragma once

#include <list>
#include <string>

#include "boottime/boot_time_data.h"
#include "boottime/decisions.h"
#include "frame/handles.h"

namespace boottime {

/// The processes under watch. Owned by the monitor and touched on the measuring thread alone.
class Processes final {
public:
    explicit Processes(BootTimeData* data) : m_data(data) {}
    Processes(const Processes&) = delete;
    Processes& operator=(const Processes&) = delete;

    /// A process that has started; false when it can't be opened.
    bool Add(const ProcessId& process);
    /// A process found running.
    void Add(DWORD pid);
    /// A process that has ended; false when it isn't under watch. Its samples stay.
    bool Rem(const ProcessId& process);

    /// One pass: takes a sample of each process and lets go of those that have been quiet, or watched, for
    /// long enough.
    void Update();

    bool IsEmpty() const { return m_entries.empty(); }
    /// A line for each process with its pid and name, for traces.
    std::wstring Dump() const;

    static bool GetProcessCounters(HANDLE process, ProcessCounters& counters);

private:
    struct Entry {
        optimizer::KernelHandle handle;
        ProcessId process;
        WatchState watch;
    };
    using Entries = std::list<Entry>;

    void _Append(optimizer::KernelHandle handle, const ProcessId& process);
    bool _Sample(Entry& entry);
    Entries::iterator _Unlink(Entries::iterator entry);

    BootTimeData* m_data;
    Entries m_entries;
};

}  // namespace boottime
