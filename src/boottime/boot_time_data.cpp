#include "boottime/boot_time_data.h"

#include "frame/trace.h"

namespace boottime {

namespace trace = optimizer::trace;
using optimizer::CriticalSectionGuard;

namespace {

// Room is made for this many samples at a time. Hundreds of processes are watched, and most of them leave
// after a dozen samples: doubling the room would leave half of it empty.
constexpr size_t kRoomStep = 4;

void TraceUnknownProcess() {
    TRACE_SCOPE("BootTimeData::AddSample");
    TRACE_LINE(trace::kWarning,
               L"Can't find process to add data for; Most likely AddProcess was not called for it; skipping");
}

}  // namespace

void BootTimeData::AddProcess(const ProcessId& process) {
    TRACE_SCOPE("BootTimeData::AddProcess");
    const CriticalSectionGuard guard(m_lock);
    m_samples.try_emplace(process);
}

// Called for every process in every pass: a scope of its own would cost more than the rest of it.
void BootTimeData::AddSample(uint32_t tick, const ProcessId& process, const ProcessCounters& counters) {
    const CriticalSectionGuard guard(m_lock);
    const auto found = m_samples.find(process);
    if (found == m_samples.end()) {
        TraceUnknownProcess();
        return;
    }
    std::vector<ProcessSample>& samples = found->second;
    if (samples.size() == samples.capacity()) samples.reserve(samples.size() + kRoomStep);
    samples.push_back({tick, counters});
    const auto count = static_cast<int32_t>(samples.size());
    if (count > m_maxSamples) m_maxSamples = count;
}

int32_t BootTimeData::MaxSamples() {
    const CriticalSectionGuard guard(m_lock);
    return m_maxSamples;
}

std::wstring BootTimeData::Dump() {
    std::wstring text = L"samples\n\n";
    const CriticalSectionGuard guard(m_lock);
    for (const auto& [process, stored] : m_samples) {
        const std::vector<ProcessSample> samples = stored;
        text += L"{" + std::to_wstring(process.pid) + L", " + process.name.Text() + L"} ";
        for (const ProcessSample& sample : samples) {
            text += L"[" + std::to_wstring(sample.counters.cpuKernelTime) + L"|" +
                    std::to_wstring(sample.counters.cpuUserTime) + L"], ";
        }
        text += L"\n";
    }
    return text + L"done samples\n\n";
}

}  // namespace boottime
