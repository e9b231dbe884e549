#pragma once

#include <atomic>
#include <memory>
#include <set>

#include "actions/optimizer_action.h"
#include "border/host.h"
#include "frame/critical_section.h"
#include "frame/handles.h"
#include "processes/optimizer_processes.h"
#include "processes/profile_monitor.h"
#include "processes/snapshot.h"
#include "processes/windows_processes_params.h"

namespace optimizer {

/// Raises the priority of the applications that the current profile includes. Made once by OptimizerProfile
/// and kept over changes of profile: from its construction it follows the profile, from Start to Stop also
/// the processes. Start, Stop and Revert as of any action; everything else happens on its serial execution,
/// on the snapshot's, and on the threads that tell of profiles and lists.
///
/// A process comes back to the normal class, whatever it had before: that isn't noted. Stop forgets what was
/// raised without putting it back.
///
/// Locks: the action lock, then the snapshot's, or, in a change of profile, the cache's. The action lock is
/// held while priorities are set, and never while the provider is asked.
class CWindowsProcessesAction final : public IOptimizerAction,
                                      public IProfileMonitorObserver,
                                      public ISnapshotObserver,
                                      public IOptimizerProcessesObserver {
public:
    using profile = profiles::profile;

    CWindowsProcessesAction(WindowsProcessesParams parameters, IServMain* main);
    /// Blocks until whatever is in flight has ended. Waits for no start.
    ~CWindowsProcessesAction() override;
    CWindowsProcessesAction(const CWindowsProcessesAction&) = delete;
    CWindowsProcessesAction& operator=(const CWindowsProcessesAction&) = delete;

    /// 0 also when it runs already and when something of the host's is missing; 14 (ERROR_OUTOFMEMORY) when
    /// memory ran short on the way, and then it watches what it got hold of until it is stopped.
    uint32_t Start() override;
    /// Nothing is noted: there is one class that processes come back to.
    uint32_t Note(IOptimizerActionSettings*) override { return 0; }
    /// Waits without limit for a start that runs.
    uint32_t Stop() override;
    /// The next change of profile must find what was raised, to put it back; only the end of the service
    /// forgets that.
    uint32_t Cancel() override { return 0; }
    uint32_t Revert() override;
    uint32_t FinishRevert() override { return 0; }
    uint32_t PutBack() override { return 0; }
    /// Starts again after a Stop. The new values change nothing.
    uint32_t Update(IOptimizerActionSettings*) override;
    bool HasSameParameters(IOptimizerActionSettings*) override { return false; }
    IOptimizerActionSettings* GetParameters() override { return &m_parameters; }
    IOptimizerActionSettings* GetRevertParameters() override { return nullptr; }
    uint32_t SetRevertParameters(IOptimizerActionSettings*) override { return 0; }
    const wchar_t* GetName() override { return L"WindowsProcesses"; }

    void OnProfileChanged(const profile* next) override;
    void OnSnapshotNewProcess(const wchar_t* name, const wchar_t* product, int32_t pid) override;
    void OnSnapshotProcessEnd(const wchar_t* name, const wchar_t* product, int32_t pid) override;
    void OnOptimizerProcessesChanged() override;

    /// Works until the queue is empty. On the serial execution.
    void ProcessQueue();

private:
    void _Bind();
    void _Forget();
    void _EndSerial();
    bool _IsRunning() const;
    void _QueueProcessQueue();
    bool _TakeKey(SnapshotKey& key, profile& current);
    void _Raise(const SnapshotKey& key, profile answeredFor);
    void _PutBack(const SnapshotKey& key);
    void _RevertProcesses() REQUIRES(m_lock);

    WindowsProcessesParams m_parameters;
    CCriticalSection m_lock;  // the action lock
    IServMain* const m_main;
    IEventQueue* m_eventQueue = nullptr;
    CCriticalSection m_serialLock
        ACQUIRED_AFTER(m_lock);  // keeps the serial execution while work is posted; innermost
    ISerialExecution* m_serial GUARDED_BY(m_serialLock) = nullptr;
    std::unique_ptr<CSnapshot> m_snapshot;
    std::unique_ptr<COptimizerProcesses> m_optimizerProcesses;
    std::unique_ptr<CProfileMonitor> m_profileMonitor;
    profile m_profile GUARDED_BY(m_lock) = profile::Disabled;
    SnapshotKeys m_queue GUARDED_BY(m_lock);
    std::set<uint32_t> m_raised GUARDED_BY(m_lock);
    KernelHandle m_running;  // an event, the running mark
    std::atomic<int32_t> m_starting = 0;
};

}  // namespace optimizer
