#include "boottime/win_service_start_monitor.h"

#include <atomic>

#include "frame/guarded.h"
#include "frame/trace.h"

namespace boottime {

using optimizer::KernelHandle;
using optimizer::ServiceHandle;

struct WinServiceStartMonitor::Worker {
    bool Start();
    void Stop();

    static DWORD WINAPI Run(void* context);
    static void CALLBACK OnRunning(void* record);
    static void CALLBACK OnStop(ULONG_PTR context);
    void Watch();

    WinServiceStartMonitor* monitor = nullptr;
    IWinServiceStartMonitorObserver* observer = nullptr;
    ServiceHandle manager;
    ServiceHandle service;
    SC_HANDLE watched = nullptr;  // the service again, for the thread, while Stop closes the owner
    KernelHandle thread;
    std::atomic<int32_t> stop = 0;
};

bool WinServiceStartMonitor::Worker::Start() {
    TRACE_SCOPE("WinServiceStartMonitor::Start");
    manager.Reset(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ENUMERATE_SERVICE));
    if (!manager) return false;
    service.Reset(OpenServiceW(manager.Get(), monitor->m_service.c_str(), SERVICE_QUERY_STATUS));
    if (!service) return false;
    watched = service.Get();
    stop = 0;
    thread.Reset(CreateThread(nullptr, 0, &Worker::Run, this, 0, nullptr));
    return static_cast<bool>(thread);
}

void WinServiceStartMonitor::Worker::Stop() {
    TRACE_SCOPE("WinServiceStartMonitor::Stop");
    // The handles first: no notification is queued behind the thread's last one then.
    service.Reset();
    manager.Reset();
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
    auto* const notify = library != nullptr ? optimizer::GetExport<decltype(NotifyServiceStatusChangeW)>(
                                                  library, "NotifyServiceStatusChangeW")
                                            : nullptr;
    // Without a trace, on purpose: older systems haven't got it, and their boot is timed without it.
    if (notify == nullptr) return;
    while (notify(watched, SERVICE_NOTIFY_RUNNING, &record) == ERROR_SUCCESS) {
        // A stop may have come in while the system registered; nothing would end the sleep after that.
        if (stop.exchange(0) != 0) return;
        if (SleepEx(INFINITE, TRUE) != WAIT_IO_COMPLETION) return;
        if (stop.exchange(0) != 0) return;
    }
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
