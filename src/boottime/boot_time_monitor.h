#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "border/process_provider.h"
#include "boottime/boot_time_data.h"
#include "boottime/decisions.h"
#include "boottime/processes.h"
#include "boottime/processes_monitor.h"
#include "boottime/user_logon_observer.h"

namespace boottime {

/// Watches the machine while it boots and finds out how long that took. Part of the plug-in. Init, then at
/// most one Start, Stop, UnInit.
class BootTimeMonitor final {
public:
    class WinBootEvent;

    BootTimeMonitor();
    ~BootTimeMonitor();
    BootTimeMonitor(const BootTimeMonitor&) = delete;
    BootTimeMonitor& operator=(const BootTimeMonitor&) = delete;

    /// A null provider makes the monitor one that does nothing. `data` must outlive it.
    void Init(IProcessProvider* processDp, BootTimeData* data);
    void UnInit();

    /// The measurement. Blocks until the boot is over, the event is signalled or the machine has run for two
    /// hours. No notification of processes comes in after it.
    void Start(HANDLE stopEvent);
    /// From any thread, also while Start runs, which ends by the event; any number of times.
    void Stop();

    void LoadLastBootTimeFromDisk(const std::wstring& folder);
    void StoreBootTimeOnDisk(const std::wstring& folder);

    Status GetStatus();
    Status GetBootTime(uint32_t* timeMs);
    /// The processes still under watch, for traces on the measuring thread.
    std::wstring DumpProcesses() const;

private:
    bool _Pass(HANDLE stopEvent);
    void _TakeStarted(bool isLogged);
    void _TakeEnded();
    bool _IsBootFinished();
    bool _IsQuietForGood(bool isLogged);
    void _Set(Status status);

    IProcessProvider* m_processDp = nullptr;
    BootTimeData* m_data = nullptr;
    optimizer::CCriticalSection m_lock;
    // Guarded by m_lock, but for the end of a measurement without a boot event.
    std::atomic<Status> m_status = Status::Measuring;
    std::atomic<uint32_t> m_bootTimeMs = 0;
    uint32_t m_quietTick = 0;  // when the machine fell quiet at the logon screen; 0 when it hasn't
    std::unique_ptr<WinBootEvent> m_winBootEvent;
    std::unique_ptr<UserLogonObserver> m_userLogon;
    std::unique_ptr<ProcessesMonitor> m_processesMonitor;
    std::unique_ptr<Processes> m_processes;
};

}  // namespace boottime
