#include "boottime/boot_time_analyser.h"

#include <array>

#include "boottime/stored_file.h"
#include "frame/json.h"
#include "frame/text.h"
#include "frame/trace.h"
#include "settings/json_file.h"

namespace boottime {

namespace trace = optimizer::trace;
namespace json = optimizer::json;
using optimizer::CriticalSectionGuard;

namespace {

constexpr const char* kProcesses = "processes";
constexpr const char* kPpid = "ppid";
constexpr const char* kPid = "pid";
constexpr const char* kName = "name";
constexpr const char* kCounters = "counters";

/// In the order of files and of the pipe.
constexpr int32_t ProcessCounters::*kOrder[] = {&ProcessCounters::cpuKernelTime,
                                                &ProcessCounters::cpuUserTime, &ProcessCounters::bytesRead,
                                                &ProcessCounters::bytesWritten, &ProcessCounters::bytesOther};

bool Passes(const ProcessId& process, const ProcessImpact* filter) {
    if (filter == nullptr) return true;
    if (filter->ppid != 0 && filter->ppid != process.ppid) return false;
    if (filter->pid != 0 && filter->pid != process.pid) return false;
    return filter->name.Length() == 0 || std::wcscmp(filter->name.Text(), process.name.Text()) == 0;
}

/// Zeros for a list of another length; a number that can't be read is 0.
ProcessCounters ReadCounters(const picojson::array& list) {
    ProcessCounters counters = {};
    if (list.size() != std::size(kOrder)) return counters;
    for (size_t i = 0; i < std::size(kOrder); ++i)
        counters.*kOrder[i] = ToNumber<int32_t>(&list[i]).value_or(0);
    return counters;
}

/// The process of an entry of the file; nothing when a key or a number of its is missing.
std::optional<ProcessId> ReadProcess(const picojson::value& entry) {
    // The low 32 bits count: it is stored with the upper ones, which hosts may have left anything in.
    const auto ppid = ToNumber<int64_t>(json::Find(entry, kPpid));
    const auto pid = ToNumber<uint32_t>(json::Find(entry, kPid));
    const auto name = json::ToText(json::Find(entry, kName));
    if (!ppid || !pid || !name || json::Find(entry, kCounters) == nullptr) return std::nullopt;
    return ProcessId{static_cast<uint32_t>(*ppid), *pid, vx::String(optimizer::Widen(*name).c_str())};
}

}  // namespace

void BootTimeAnalyser::Start() {
    TRACE_SCOPE("BootTimeAnalyser::Start");
    AnalyseData();
}

void BootTimeAnalyser::AnalyseData() {
    TRACE_SCOPE("BootTimeAnalyser::AnalyseData");
    if (m_data == nullptr) {
        const CriticalSectionGuard guard(m_lock);
        m_status = Status::Failed;
        return;
    }
    // Not under this object's lock, since the data take their own. Readers are kept out by the status
    // meanwhile.
    Impacts impacts;
    {
        const CriticalSectionGuard guard(m_lock);
        impacts.swap(m_impact);
    }
    m_data->WithSamples([&](const BootTimeData::Samples& samples) { _AddCpu(samples, impacts); });
    m_data->WithSamples([&](const BootTimeData::Samples& samples) { _AddTransfers(samples, impacts); });
    const CriticalSectionGuard guard(m_lock);
    m_impact.swap(impacts);
    _AddTotal();
    m_status = Status::Ready;
}

void BootTimeAnalyser::_AddCpu(const BootTimeData::Samples& samples, Impacts& impacts) {
    for (const auto& [process, taken] : samples) {
        if (taken.empty()) continue;
        ProcessCounters& impact = impacts[process];
        impact.cpuKernelTime = taken.front().counters.cpuKernelTime;
        impact.cpuUserTime = taken.front().counters.cpuUserTime;
        for (size_t i = 1; i < taken.size(); ++i)
            AddCpuStep(taken[i - 1], taken[i], impact);
    }
}

void BootTimeAnalyser::_AddTransfers(const BootTimeData::Samples& samples, Impacts& impacts) {
    for (const auto& [process, taken] : samples) {
        if (taken.empty()) continue;
        ProcessCounters& impact = impacts[process];
        impact.bytesRead = taken.front().counters.bytesRead;
        impact.bytesWritten = taken.front().counters.bytesWritten;
        impact.bytesOther = taken.front().counters.bytesOther;
        for (size_t i = 1; i < taken.size(); ++i)
            AddTransferStep(taken[i - 1], taken[i], impact);
    }
}

/// From what the total holds, on purpose: it is never cleared.
void BootTimeAnalyser::_AddTotal() {
    for (const auto& [process, impact] : m_impact)
        AddCounters(impact, m_total);
}

Status BootTimeAnalyser::GetStatus() {
    const CriticalSectionGuard guard(m_lock);
    return m_status;
}

Status BootTimeAnalyser::GetTotalBootImpact(ProcessCounters* total) {
    const CriticalSectionGuard guard(m_lock);
    *total = m_total;
    return m_status;
}

uint32_t BootTimeAnalyser::GetBootImpact(vx::IList<ProcessImpact>* list, const ProcessImpact* filter) {
    TRACE_SCOPE("BootTimeAnalyser::GetBootImpact");
    const CriticalSectionGuard guard(m_lock);
    if (m_status == Status::Measuring) return kStillMeasuring;
    if (list == nullptr) return kNoResults;
    for (const auto& [process, counters] : m_impact) {
        if (Passes(process, filter)) list->PushBack({process.ppid, process.pid, process.name, counters});
    }
    // Also after a failure: the list then simply has nothing in it.
    return kResultsThere;
}

void BootTimeAnalyser::ReadProcessImpactFromJsonValue(const picojson::value& value) {
    TRACE_SCOPE("BootTimeAnalyser::ReadProcessImpactFromJsonValue");
    const CriticalSectionGuard guard(m_lock);
    const auto process = ReadProcess(value);
    if (!process) {
        TRACE_LINE(trace::kWarning, L"[JSON] Not all keys present. skipping ...\n");
        return;
    }
    const picojson::value& counters = *json::Find(value, kCounters);
    ProcessCounters& impact = m_impact[*process];
    if (counters.is<picojson::array>()) {
        impact = ReadCounters(counters.get<picojson::array>());
    } else {
        TRACE_LINE(trace::kWarning, L"[JSON] Counters not stored in an array");
        impact = {};
    }
    m_status = Status::Ready;
}

void BootTimeAnalyser::LoadLastBootProcessImpactFromDisk(const std::wstring& folder) {
    TRACE_SCOPE("BootTimeAnalyser::LoadLastBootProcessImpactFromDisk");
    const CriticalSectionGuard guard(m_lock);
    m_impact.clear();
    m_status = Status::Failed;
    picojson::value file;
    if (!ReadStoredFile(traceScope, folder + kImpactFile, L"Can't find last boot process impact data", file))
        return;
    const picojson::value* const processes = json::Find(file, kProcesses);
    if (processes == nullptr) {
        TRACE_LINE(trace::kWarning, L"Invalid last boot json file");
        return;
    }
    TRACE_LINE(trace::kInformation, L"Loading data from json");
    _ReadProcesses(*processes);
    // Whatever was found in there: a file that has the key is a result.
    m_status = Status::Ready;
    _AddTotal();
    TRACE_LINE(trace::kInformation, L"%s", Dump().c_str());
}

void BootTimeAnalyser::_ReadProcesses(const picojson::value& processes) {
    TRACE_SCOPE("BootTimeAnalyser::LoadLastBootProcessImpactFromDisk");
    if (!processes.is<picojson::array>()) {
        TRACE_LINE(trace::kWarning, L"Json not containing an array");
        return;
    }
    for (const picojson::value& entry : processes.get<picojson::array>()) {
        if (entry.is<picojson::object>()) {
            ReadProcessImpactFromJsonValue(entry);
        } else {
            TRACE_LINE(trace::kWarning, L"Skipping json entry. Not an object");
        }
    }
}

void BootTimeAnalyser::StoreProcessImpactOnDisk(const std::wstring& folder) {
    TRACE_SCOPE("BootTimeAnalyser::StoreProcessImpactOnDisk");
    const CriticalSectionGuard guard(m_lock);
    if (optimizer::WriteJsonFile(folder + kImpactFile, _ToJson()) != ERROR_SUCCESS) {
        TRACE_LINE(trace::kError, L"Failed to save boot impact in JSON");
    }
}

picojson::value BootTimeAnalyser::_ToJson() {
    picojson::array processes;
    for (const auto& [process, impact] : m_impact) {
        picojson::array counters;
        for (const auto counter : kOrder)
            counters.push_back(ToText(impact.*counter));
        picojson::object entry;
        entry[kPpid] = ToText(static_cast<int64_t>(process.ppid));
        entry[kPid] = ToText(static_cast<int64_t>(process.pid));
        entry[kName] = picojson::value(optimizer::Narrow(process.name.Text()));
        entry[kCounters] = picojson::value(counters);
        processes.emplace_back(entry);
    }
    picojson::object file;
    file[kProcesses] = picojson::value(processes);
    return picojson::value(file);
}

std::wstring BootTimeAnalyser::Dump() {
    std::wstring text = L"process impact\n\n";
    const CriticalSectionGuard guard(m_lock);
    for (const auto& [process, impact] : m_impact) {
        text += std::to_wstring(process.pid) + L"," + process.name.Text();
        for (const auto counter : kOrder)
            text += L"," + std::to_wstring(impact.*counter);
        text += L"\n";
    }
    return text + L"done process impact\n\n";
}

}  // namespace boottime
