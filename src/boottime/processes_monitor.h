#pragma once

#include <list>

#include "border/process_provider.h"
#include "boottime/process_sample.h"
#include "frame/critical_section.h"

namespace boottime {

/// The inbox of started and ended processes. The provider's thread fills it, the measuring thread empties it.
///
/// Owned by the monitor, which never frees it: a provider that is slow to let go may still call.
class ProcessesMonitor final {
public:
    using List = std::list<ProcessId>;

    explicit ProcessesMonitor(IProcessProvider* processDp) : m_processDp(processDp) {}
    ProcessesMonitor(const ProcessesMonitor&) = delete;
    ProcessesMonitor& operator=(const ProcessesMonitor&) = delete;

    void Start();
    /// Blocks until the notification in flight has ended. Drops what wasn't taken.
    void Stop();

    /// For the provider. Always 0. Only notes: nothing is opened on the provider's thread.
    static uint32_t OnProcessNotify(const _PROCESS_NOTIF* record, void* context);

    /// Swap the whole list into the caller's empty one.
    void TakeStarted(List& started);
    void TakeEnded(List& ended);

private:
    void _OnProcessNotify(const _PROCESS_NOTIF& record);

    IProcessProvider* m_processDp;
    List m_started GUARDED_BY(m_lock);
    List m_ended GUARDED_BY(m_lock);
    optimizer::CCriticalSection m_lock;
};

}  // namespace boottime
