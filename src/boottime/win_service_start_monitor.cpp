#include "boottime/win_service_start_monitor.h"

#include <atomic>

#include "frame/critical_section.h"
#include "frame/guarded.h"
#include "frame/trace.h"

namespace boottime {

using optimizer::CriticalSectionGuard;
using optimizer::KernelHandle;
using optimizer::ServiceHandle;

namespace {

using NotifyFunction = decltype(NotifyServiceStatusChangeW);

}  // namespace

struct WinServiceStartMonitor::Worker {
    bool Start();
    void Stop();

    static DWORD WINAPI Run(void* context);
    static void CALLBACK OnRunning(void* record);
    static void CALLBACK OnStop(ULONG_PTR context);
    void Watch();
    bool Ask(NotifyFunction* notify, SERVICE_NOTIFYW* record);

    WinServiceStartMonitor* monitor = nullptr;
    IWinServiceStartMonitorObserver* observer = nullptr;
    optimizer::CCriticalSection lock;
    ServiceHandle manager;
    ServiceHandle service GUARDED_BY(lock);  // null after Stop
    KernelHandle thread;
    std::atomic<int32_t> stop = 0;
};

bool WinServiceStartMonitor::Worker::Start() {
    TRACE_SCOPE("WinServiceStartMonitor::Start");
    const CriticalSectionGuard guard(lock);
    manager.Reset(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ENUMERATE_SERVICE));
    if (!manager) return false;
    service.Reset(OpenServiceW(manager.Get(), monitor->m_service.c_str(), SERVICE_QUERY_STATUS));
    if (!service) return false;
    stop = 0;
    thread.Reset(CreateThread(nullptr, 0, &Worker::Run, this, 0, nullptr));
    return static_cast<bool>(thread);
}

void WinServiceStartMonitor::Worker::Stop() {
    TRACE_SCOPE("WinServiceStartMonitor::Stop");
    {
        // The handles first: no notification is queued behind the thread's last one then.
        const CriticalSectionGuard guard(lock);
        service.Reset();
        manager.Reset();
    }
    if (!thread) return;
    QueueUserAPC(&Worker::OnStop, thread.Get(), reinterpret_cast<ULONG_PTR>(this));
    WaitForSingleObject(thread.Get(), INFINITE);
    thread.Reset();
}

DWORD WINAPI WinServiceStartMonitor::Worker::Run(void* context) {
    static_cast<void>(optimizer::Guarded([&] {
        static_cast<Worker*>(context)->Watch();
        return uint32_t{0};
    }));
    return 0;
}

void WinServiceStartMonitor::Worker::Watch() {
    TRACE_SCOPE("WinServiceStartMonitor::Watch");
    SERVICE_NOTIFYW record = {};
    record.dwVersion = SERVICE_NOTIFY_STATUS_CHANGE;
    record.pfnNotifyCallback = &Worker::OnRunning;
    record.pContext = this;
    const HMODULE library = GetModuleHandleW(L"Advapi32.dll");
    auto* const notify = library != nullptr
                             ? optimizer::GetExport<NotifyFunction>(library, "NotifyServiceStatusChangeW")
                             : nullptr;
    // Without a trace, on purpose: older systems haven't got it, and their boot is timed without it.
    if (notify == nullptr) return;
    while (Ask(notify, &record)) {
        if (SleepEx(INFINITE, TRUE) != WAIT_IO_COMPLETION) return;
        if (stop.exchange(0) != 0) return;
    }
}

/// False after a stop. Under the lock: the system follows a handle that is closed during the call into memory
/// that is gone, and a stop's call to this thread would be lost if it came before the sleep.
bool WinServiceStartMonitor::Worker::Ask(NotifyFunction* notify, SERVICE_NOTIFYW* record) {
    const CriticalSectionGuard guard(lock);
    return service && notify(service.Get(), SERVICE_NOTIFY_RUNNING, record) == ERROR_SUCCESS;
}

void CALLBACK WinServiceStartMonitor::Worker::OnRunning(void* record) {
    const auto* const notification = static_cast<const SERVICE_NOTIFYW*>(record);
    auto* const self = static_cast<Worker*>(notification->pContext);
    if (self == nullptr || notification->ServiceStatus.dwCurrentState != SERVICE_RUNNING) return;
    static_cast<void>(optimizer::Guarded([&] {
        self->observer->OnServiceStarted(self->monitor->m_service.c_str());
        return uint32_t{0};
    }));
}

void CALLBACK WinServiceStartMonitor::Worker::OnStop(ULONG_PTR context) {
    reinterpret_cast<Worker*>(context)->stop = 1;
}

WinServiceStartMonitor::WinServiceStartMonitor(const wchar_t* service,
                                               IWinServiceStartMonitorObserver* observer)
    : m_service(service), m_observer(observer) {}

WinServiceStartMonitor::~WinServiceStartMonitor() {
    Stop();
}

bool WinServiceStartMonitor::Start() {
    Stop();
    m_worker = std::make_unique<Worker>();
    m_worker->monitor = this;
    m_worker->observer = m_observer;
    return m_worker->Start();
}

void WinServiceStartMonitor::Stop() {
    if (m_worker == nullptr) return;
    m_worker->Stop();
    m_worker.reset();
}

}  // namespace boottime
