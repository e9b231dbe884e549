#include "boottime/processes_monitor.h"

#include <utility>

#include "frame/guarded.h"
#include "frame/trace.h"

namespace boottime {

namespace trace = optimizer::trace;
using optimizer::CriticalSectionGuard;

void ProcessesMonitor::Start() {
    TRACE_SCOPE("ProcessesMonitor::Start");
    if (!m_processDp->RegisterProcessNotifyCallback(&ProcessesMonitor::OnProcessNotify, this, 0)) {
        TRACE_LINE(trace::kError, L"RegisterProcessNotifyCallback failed");
    }
}

void ProcessesMonitor::Stop() {
    TRACE_SCOPE("ProcessesMonitor::Stop");
    if (!m_processDp->UnregisterProcessNotifyCallback(&ProcessesMonitor::OnProcessNotify, this)) {
        TRACE_LINE(trace::kWarning, L"Could not unregister callback from processdp");
    }
    // This object stays; hours of what nobody has taken need not.
    List started;
    List ended;
    TakeStarted(started);
    TakeEnded(ended);
}

uint32_t ProcessesMonitor::OnProcessNotify(const _PROCESS_NOTIF* record, void* context) {
    TRACE_SCOPE("ProcessesMonitor::OnProcessNotify");
    if (context == nullptr) {
        TRACE_LINE(trace::kError, L"nullptr context pointer");
        return 0;
    }
    if (record == nullptr) return 0;
    static_cast<void>(optimizer::Guarded([&] {
        static_cast<ProcessesMonitor*>(context)->_OnProcessNotify(*record);
        return uint32_t{0};
    }));
    return 0;
}

void ProcessesMonitor::_OnProcessNotify(const _PROCESS_NOTIF& record) {
    TRACE_SCOPE("ProcessesMonitor::OnProcessNotify");
    List noted(1);
    ProcessId& process = noted.front();
    process.pid = record.pid;
    process.ppid = uint64_t{record.reserved2} << 32 | record.parentPid;  // the record's whole second word
    if (record.name != nullptr) process.name.Assign(record.name);
    TRACE_LINE(trace::kInformation, L"New process [%s] [%d]", process.name.Text(), record.pid);
    const CriticalSectionGuard guard(m_lock);
    List& list = (record.flags & _PROCESS_NOTIF::kEnded) != 0 ? m_ended : m_started;
    list.splice(list.end(), noted);
}

void ProcessesMonitor::TakeStarted(List& started) {
    const CriticalSectionGuard guard(m_lock);
    m_started.swap(started);
}

void ProcessesMonitor::TakeEnded(List& ended) {
    const CriticalSectionGuard guard(m_lock);
    m_ended.swap(ended);
}

}  // namespace boottime
