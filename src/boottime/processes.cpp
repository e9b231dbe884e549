#include "boottime/processes.h"

#include <algorithm>
#include <utility>

#include "boottime/utils.h"
#include "frame/trace.h"

namespace boottime {

namespace trace = optimizer::trace;
using optimizer::KernelHandle;

namespace {

constexpr DWORD kAccess = PROCESS_QUERY_INFORMATION | PROCESS_VM_READ;

int32_t ToMs(const FILETIME& time) {
    return static_cast<int32_t>(utils::ToTicks(time) / utils::kTicksPerMs);
}

/// The low 32 bits, on purpose: files and clients know the transfers that way.
int32_t LowBits(uint64_t count) {
    return static_cast<int32_t>(static_cast<uint32_t>(count));
}

bool TraceFailure(const wchar_t* format) {
    const DWORD error = GetLastError();
    TRACE_SCOPE("Processes::GetProcessCounters");
    TRACE_LINE(trace::kWarning, format, error);
    return false;
}

}  // namespace

bool Processes::Add(const ProcessId& process) {
    TRACE_SCOPE("Processes::Add");
    TRACE_LINE(trace::kInformation, L"Add %s", process.name.Text());
    KernelHandle handle(OpenProcess(kAccess, FALSE, static_cast<DWORD>(process.pid)));
    if (!handle) return false;
    _Append(std::move(handle), process);
    return true;
}

void Processes::Add(DWORD pid) {
    TRACE_SCOPE("Processes::Add");
    const HANDLE opened = OpenProcess(kAccess, FALSE, pid);
    // A null handle passes, on purpose: a process that can't be opened is listed all the same, and its first
    // sample takes it out of the watch.
    if (opened == INVALID_HANDLE_VALUE) {
        const DWORD error = GetLastError();
        TRACE_LINE(trace::kWarning, L"Invalid handle pid : %d error : %d", pid, error);
        return;
    }
    KernelHandle handle(opened);
    const ProcessId process = {0, pid, utils::GetProcessName(opened)};
    TRACE_LINE(trace::kInformation, L"ADD %s", process.name.Text());
    _Append(std::move(handle), process);
}

void Processes::_Append(KernelHandle handle, const ProcessId& process) {
    m_data->AddProcess(process);
    WatchState watch;
    watch.lastTick = GetTickCount();
    m_entries.push_back({std::move(handle), process, watch});
}

bool Processes::Rem(const ProcessId& process) {
    TRACE_SCOPE("Processes::Rem");
    TRACE_LINE(trace::kInformation, L"REM %s", process.name.Text());
    const auto found =
        std::ranges::find_if(m_entries, [&](const Entry& entry) { return entry.process.pid == process.pid; });
    if (found == m_entries.end()) return false;
    m_entries.erase(found);
    return true;
}

void Processes::Update() {
    TRACE_SCOPE("Processes::Update");
    for (auto entry = m_entries.begin(); entry != m_entries.end();) {
        entry = _Sample(*entry) ? std::next(entry) : _Unlink(entry);
    }
}

/// Whether the process stays under watch. No scope: it runs for every process in every pass.
bool Processes::_Sample(Entry& entry) {
    ProcessCounters counters;
    if (!GetProcessCounters(entry.handle.Get(), counters)) return false;
    const uint32_t now = GetTickCount();
    const SampleVerdict verdict = JudgeSample(entry.watch, now, counters);
    m_data->AddSample(now, entry.process, counters);
    if (verdict.leaves) {
        TRACE_SCOPE("Processes::Update");
        TRACE_LINE(trace::kInformation, L"remove %s", entry.process.name.Text());
        return false;
    }
    entry.watch = {counters, entry.watch.sampleCount + 1, verdict.idleCount, now};
    return true;
}

Processes::Entries::iterator Processes::_Unlink(Entries::iterator entry) {
    // The handle stays open, on purpose, until this process ends: it keeps the pid from being given to
    // another process, whose samples would be added to this one's.
    static_cast<void>(entry->handle.Release());
    return m_entries.erase(entry);
}

std::wstring Processes::Dump() const {
    std::wstring text;
    for (const Entry& entry : m_entries)
        text += std::to_wstring(entry.process.pid) + L"," + entry.process.name.Text() + L"\n";
    return text;
}

bool Processes::GetProcessCounters(HANDLE process, ProcessCounters& counters) {
    FILETIME created = {};
    FILETIME ended = {};
    FILETIME kernel = {};
    FILETIME user = {};
    if (!GetProcessTimes(process, &created, &ended, &kernel, &user)) {
        return TraceFailure(L"GetProcessTimes failed 0x%x");
    }
    IO_COUNTERS transfers = {};
    if (!GetProcessIoCounters(process, &transfers)) {
        return TraceFailure(L"GetProcessIoCounters failed 0x%x");
    }
    counters = {ToMs(kernel), ToMs(user), LowBits(transfers.ReadTransferCount),
                LowBits(transfers.WriteTransferCount), LowBits(transfers.OtherTransferCount)};
    return true;
}

}  // namespace boottime
