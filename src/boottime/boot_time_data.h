#pragma once

#include <map>
#include <string>
#include <vector>

#include "boottime/process_sample.h"
#include "frame/critical_section.h"

namespace boottime {

/// The samples of one measurement. Owned by the plug-in for its life; filled by the monitor and read by the
/// analyser, on the measuring thread. Every operation takes the lock.
class BootTimeData final {
public:
    using Samples = std::map<ProcessId, std::vector<ProcessSample>, ByPid>;

    BootTimeData() = default;
    BootTimeData(const BootTimeData&) = delete;
    BootTimeData& operator=(const BootTimeData&) = delete;

    /// Changes nothing for a pid that is there: its first name and its samples stay.
    void AddProcess(const ProcessId& process);
    /// Drops a sample for a pid that isn't there.
    void AddSample(uint32_t tick, const ProcessId& process, const ProcessCounters& counters);

    /// The largest number of samples of one process.
    int32_t MaxSamples();
    /// Calls `look` with all the samples, under the lock.
    template <class Look>
    void WithSamples(Look look) {
        const optimizer::CriticalSectionGuard guard(m_lock);
        look(static_cast<const Samples&>(m_samples));
    }
    /// For traces; the CPU figures alone.
    std::wstring Dump();

private:
    optimizer::CCriticalSection m_lock;
    int32_t m_maxSamples GUARDED_BY(m_lock) = 0;
    Samples m_samples GUARDED_BY(m_lock);
};

}  // namespace boottime
