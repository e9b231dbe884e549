#pragma once

#include <memory>
#include <string>

#include "frame/handles.h"

namespace boottime {

class IWinServiceStartMonitorObserver {
public:
    /// On the monitor's thread, each time that the service is told to run.
    virtual void OnServiceStarted(const wchar_t* service) = 0;

protected:
    ~IWinServiceStartMonitorObserver() = default;
};

/// Tells when a service runs. Start, then Stop, on any thread but the monitor's own.
class WinServiceStartMonitor final {
public:
    WinServiceStartMonitor(const wchar_t* service, IWinServiceStartMonitorObserver* observer);
    ~WinServiceStartMonitor();
    WinServiceStartMonitor(const WinServiceStartMonitor&) = delete;
    WinServiceStartMonitor& operator=(const WinServiceStartMonitor&) = delete;

    /// True when the thread runs. A system that can't notify is found out on that thread, which ends in
    /// silence then.
    bool Start();
    /// Waits for the thread, and so for a call of the observer in flight.
    void Stop();

private:
    struct Worker;

    std::wstring m_service;
    IWinServiceStartMonitorObserver* m_observer;
    std::unique_ptr<Worker> m_worker;
};

}  // namespace boottime
