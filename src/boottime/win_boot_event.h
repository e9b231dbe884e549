#pragma once

#include <atomic>
#include <memory>

#include "boottime/boot_time_monitor.h"
#include "boottime/win_boot_events.h"
#include "boottime/win_service_start_monitor.h"

namespace boottime {

/// Gets the boot time from the event that the system writes of it: waits for the service that the event log
/// needs, then subscribes. Owned by the monitor.
///
/// The result comes on the threads of the service monitor and of the event log, in the order: status and
/// time, then the event that says so. No lock guards those. Start and Retry are the measuring thread's, Stop
/// any thread's.
class BootTimeMonitor::WinBootEvent final : public IWinServiceStartMonitorObserver,
                                            public IWinBootEventsObserver {
public:
    WinBootEvent() = default;
    ~WinBootEvent();
    WinBootEvent(const WinBootEvent&) = delete;
    WinBootEvent& operator=(const WinBootEvent&) = delete;

    /// 1, or 0 when it runs already or nothing can be waited for; the monitor's retries come then.
    uint32_t Start();
    void Stop();
    bool Subscribe();

    bool IsDone() const { return WaitForSingleObject(m_doneEvent.Get(), 0) == WAIT_OBJECT_0; }
    /// These two once IsDone.
    BootEventStatus GetStatus() const { return m_status; }
    uint32_t TimeMs() const { return m_timeMs; }
    /// Subscribes again after a failure; another failure leaves the retry to the next call.
    void Retry();

    void OnServiceStarted(const wchar_t* service) override;
    void OnWinBootEvent(uint32_t bootTimeMs, FILETIME* written, uint32_t flags) override;

private:
    void _Finish(BootEventStatus status);
    bool _StartSources() REQUIRES(m_lock);

    optimizer::CCriticalSection m_lock;  // keeps the two alive while one of the threads uses them
    std::unique_ptr<WinServiceStartMonitor> m_serviceMonitor GUARDED_BY(m_lock);  // null between runs
    std::unique_ptr<CWinBootEvents> m_bootEvents GUARDED_BY(m_lock);              // null between runs
    optimizer::KernelHandle m_doneEvent{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    std::atomic<bool> m_subscribed = false;
    std::atomic<int64_t> m_startTimeMs = 0;  // since 1601
    std::atomic<BootEventStatus> m_status = BootEventStatus::Nothing;
    std::atomic<uint32_t> m_timeMs = 0;  // valid when the event has arrived
};

}  // namespace boottime
