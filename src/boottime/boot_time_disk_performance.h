#pragma once

#include <windows.h>

#include "border/load_usage.h"
#include "boottime/decisions.h"
#include "frame/critical_section.h"

namespace boottime {

/// Has the host tell how busy the disks are, once the processors are nearly idle after the boot. Part of the
/// plug-in. Start on the measuring thread, the getter on any.
class BootTimeDiskPerformance final {
public:
    BootTimeDiskPerformance() = default;
    BootTimeDiskPerformance(const BootTimeDiskPerformance&) = delete;
    BootTimeDiskPerformance& operator=(const BootTimeDiskPerformance&) = delete;

    /// Before Start; not owned. Without one the measurement fails.
    void SetLoadUsage(ILoadUsage* loadUsage) { m_loadUsage = loadUsage; }

    /// Blocks for little more than ten seconds, and for as long as the plug-in takes. The event ends the
    /// wait.
    void Start(HANDLE stopEvent);
    void MeasureDiskPerformance(HANDLE stopEvent);

    /// The figures, zeros before they were measured, are always copied.
    Status GetDiskSpeed(DiskSpeed* speed);

private:
    void _Finish(Status status, const DiskSpeed& speed);
    DiskSpeed _AskTwice();

    ILoadUsage* m_loadUsage = nullptr;
    optimizer::CCriticalSection m_lock;
    Status m_status GUARDED_BY(m_lock) = Status::Measuring;
    DiskSpeed m_speed GUARDED_BY(m_lock) = {};
};

}  // namespace boottime
