#pragma once

#include <map>
#include <string>

#include "border/host.h"
#include "border/optimizer_process_provider.h"
#include "frame/critical_section.h"
#include "processes/snapshot_key.h"

namespace optimizer {

class IOptimizerProcessesObserver {
public:
    /// The answers may have changed. On the provider's thread, with no lock held.
    virtual void OnOptimizerProcessesChanged() = 0;

protected:
    ~IOptimizerProcessesObserver() = default;
};

/// Says whether the current profile includes an application. The host's provider knows; its answers are kept
/// for as long as the profile and its list stay. Owned by CWindowsProcessesAction. Any thread; GetStatus
/// holds the lock while it asks the provider.
///
/// Keys are compared as they come: an entry that the provider supplies in another case than the callers of
/// GetStatus is a key of its own.
class COptimizerProcesses final : public IOptimizerProcessDPEvents, public IOptimizerProcessDPDetailsEvents {
public:
    using profile = profiles::profile;

    COptimizerProcesses(IServMain* main, IOptimizerProcessesObserver* observer)
        : m_main(main), m_observer(observer) {}
    ~COptimizerProcesses() { Uninit(); }
    COptimizerProcesses(const COptimizerProcesses&) = delete;
    COptimizerProcesses& operator=(const COptimizerProcesses&) = delete;

    bool Init();
    /// Blocks until an event in flight has ended.
    void Uninit();

    /// Forgets the answers, unless `profile` is the current one.
    void SetCurrentProfile(const profile* next);
    bool GetStatus(const std::wstring& name, const std::wstring& product);

    void OnProcessesListChanged(const ProcessEventKind* kind, const profile* which) override;
    void OnProcessesAdded(const ProcessEventKind* kind, const profile* which,
                          OptimizerProcessList* added) override;
    void OnProcessesRemoved(const ProcessEventKind* kind, const profile* which,
                            OptimizerProcessList* removed) override;

private:
    const bool* _FindKnown(const std::wstring& name, const std::wstring& product) const REQUIRES(m_lock);
    bool _GetStatus(const std::wstring& name, const std::wstring& product) REQUIRES(m_lock);
    void _Store(profile which, OptimizerProcessList* entries, bool included);
    void _Tell();

    IServMain* const m_main;
    IOptimizerProcessesObserver* const m_observer;
    IOptimizerProcessDP* m_provider GUARDED_BY(m_lock) = nullptr;
    CCriticalSection m_lock;
    profile m_profile GUARDED_BY(m_lock) = profile::Disabled;
    ProcessListKind m_list GUARDED_BY(m_lock) = ProcessListKind::Work;
    std::map<SnapshotKey, bool, SnapshotKeyLess> m_cache GUARDED_BY(m_lock);
};

}  // namespace optimizer
