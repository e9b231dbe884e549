#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "frame/critical_section.h"
#include "processes/process_dp.h"
#include "processes/snapshot_key.h"

namespace optimizer {

class ISnapshotObserver {
public:
    /// On the snapshot's serial execution, in the order of the notifications, with no lock held.
    virtual void OnSnapshotNewProcess(const wchar_t* name, const wchar_t* product, int32_t pid) = 0;
    virtual void OnSnapshotProcessEnd(const wchar_t* name, const wchar_t* product, int32_t pid) = 0;

protected:
    ~ISnapshotObserver() = default;
};

/// The running processes, by their lower-cased image and product names. Owned by CWindowsProcessesAction,
/// which calls Start and Stop from one thread at a time; GetProcesses and GetProcessIds come from any thread
/// meanwhile.
///
/// What starts between the look at the system and the registration with the host isn't in it. Nor does it get
/// rid of a process whose image could be read at the end only, or that changed its product meanwhile: its key
/// is another one then. Both heal with the next Start.
class CSnapshot final : public IProcessDPObserver {
public:
    CSnapshot(IServMain* main, ISnapshotObserver* observer);
    ~CSnapshot();
    CSnapshot(const CSnapshot&) = delete;
    CSnapshot& operator=(const CSnapshot&) = delete;

    /// Takes a new picture and keeps it current from then on; false when it won't be. Blocks while it reads
    /// the version resources of all that runs.
    bool Start();
    /// Cuts the feed and leaves the picture. Blocks until an observer's call has ended.
    void Stop();
    /// Puts a new picture in the place of the one before, at once and whole; leaves that one when the system
    /// doesn't list its processes.
    void TakeSnapshot();

    /// Appends every key, in order.
    void GetProcesses(SnapshotKeys& keys);
    /// Leaves `pids` as it is when there is no such key.
    void GetProcessIds(const SnapshotKey& key, std::vector<uint32_t>& pids);

    /// False when the image's path can't be read; an image without a product gives an empty one.
    static bool GetProductName(uint32_t pid, std::wstring& product);
    static std::wstring GetProductName(const std::wstring& path);

    void OnProcessNotify(const _PROCESS_NOTIF* record) override;

private:
    /// At least one pid each; a pid may stand twice.
    using ProcessMap = std::map<SnapshotKey, std::vector<uint32_t>, SnapshotKeyLess>;

    void _AddStarted(const SnapshotKey& key, uint32_t pid);
    bool _RemoveEnded(const SnapshotKey& key, uint32_t pid);

    ISnapshotObserver* const m_observer;
    std::unique_ptr<CProcessDP> m_processDp;
    ProcessMap m_processes GUARDED_BY(m_lock);
    CCriticalSection m_lock;
};

}  // namespace optimizer
