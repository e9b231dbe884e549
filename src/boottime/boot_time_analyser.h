#pragma once

#include <map>
#include <string>

#include <picojson.h>

#include "boottime/boot_time_data.h"
#include "boottime/decisions.h"
#include "frame/process_impact.h"

namespace boottime {

/// Turns the samples into what each process has cost, and keeps that over restarts of the service. Part of
/// the plug-in. The getters on any thread, the rest on the measuring one.
class BootTimeAnalyser final {
public:
    BootTimeAnalyser() = default;
    BootTimeAnalyser(const BootTimeAnalyser&) = delete;
    BootTimeAnalyser& operator=(const BootTimeAnalyser&) = delete;

    /// Before Start; not owned.
    void SetData(BootTimeData* data) { m_data = data; }

    void Start();
    void AnalyseData();

    Status GetStatus();
    /// Copied whatever the status is.
    Status GetTotalBootImpact(ProcessCounters* total);
    /// Adds what passes the filter to the list. 1 before there is a result, 2 for a null list, else 0. A null
    /// filter lets everything pass.
    uint32_t GetBootImpact(vx::IList<ProcessImpact>* list, const ProcessImpact* filter);

    void LoadLastBootProcessImpactFromDisk(const std::wstring& folder);
    void StoreProcessImpactOnDisk(const std::wstring& folder);
    void ReadProcessImpactFromJsonValue(const picojson::value& value);

    /// For traces.
    std::wstring Dump();

private:
    using Impacts = std::map<ProcessId, ProcessCounters, ByPid>;

    static void _AddCpu(const BootTimeData::Samples& samples, Impacts& impacts);
    static void _AddTransfers(const BootTimeData::Samples& samples, Impacts& impacts);
    void _AddTotal() REQUIRES(m_lock);
    void _ReadProcesses(const picojson::value& processes) REQUIRES(m_lock);
    picojson::value _ToJson() REQUIRES(m_lock);

    optimizer::CCriticalSection m_lock;
    BootTimeData* m_data = nullptr;
    Status m_status GUARDED_BY(m_lock) = Status::Measuring;
    Impacts m_impact GUARDED_BY(m_lock);
    ProcessCounters m_total GUARDED_BY(m_lock) = {};  // never cleared, so that a second load adds to it
};

}  // namespace boottime
