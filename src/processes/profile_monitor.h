#pragma once

#include <atomic>

#include "border/host.h"
#include "border/optimizer.h"
#include "frame/critical_section.h"

namespace optimizer {

class IProfileMonitorObserver {
public:
    /// Comes on the monitor's serial execution once, and on the thread of each change of profile, with the
    /// engine's locks held then.
    virtual void OnProfileChanged(const profiles::profile* next) = 0;

protected:
    ~IProfileMonitorObserver() = default;
};

/// Tells which profile is current: once after the start, by asking the engine, and then with every change;
/// "Disabled" while the module is off. Of two deliveries the later one is the newer. Owned by
/// CWindowsProcessesAction. Start and Stop from any thread, without the engine's locks.
class CProfileMonitor final : public IOptimizerEvents {
public:
    CProfileMonitor(IServMain* main, IProfileMonitorObserver* observer)
        : m_main(main), m_observer(observer) {}
    ~CProfileMonitor() { Stop(); }
    CProfileMonitor(const CProfileMonitor&) = delete;
    CProfileMonitor& operator=(const CProfileMonitor&) = delete;

    /// True also when it runs already.
    bool Start();
    /// Blocks until a delivery in flight has ended.
    void Stop();

    void OnTaskFinished(const wchar_t*, const uint32_t*, uint32_t) override {}
    void OnProfileChanged(const wchar_t* user, const profile* changed) override;
    void OnActionsExecuted(const wchar_t*, const profile*) override {}
    void OnProfileConfigChanged(const wchar_t*, const profile*) override {}
    void OnOptimizerModuleEnableChanged(const wchar_t*, bool) override {}
    void OnOptimizerProcessOptimized(const wchar_t*, uint32_t) override {}

private:
    bool _Bind();
    void _Unbind();
    void _PostGetProfile();
    void _GetProfile();
    profile _InForce(profile named) const;
    void _Deliver(profile next);

    IServMain* const m_main;
    IEventQueue* m_queue = nullptr;
    ISerialExecution* m_serial = nullptr;
    IProfileMonitorObserver* const m_observer;
    IOptimizer* m_optimizer = nullptr;
    int32_t m_started = 0;
    CCriticalSection m_lock;              // over Start and Stop, not over deliveries
    CCriticalSection m_deliveryLock;      // behind the engine's locks, before the observer's
    std::atomic<uint32_t> m_changes = 0;  // told since the start; written under m_deliveryLock
};

}  // namespace optimizer
