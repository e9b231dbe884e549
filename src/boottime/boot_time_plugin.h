#pragma once

#include <string>

#include "border/host.h"
#include "boottime/boot_time_analyser.h"
#include "boottime/boot_time_disk_performance.h"
#include "boottime/boot_time_monitor.h"
#include "frame/callback_list.h"

namespace boottime {

/// Component "boottime". Decides on one thread of its own whether this start of the service is the first
/// since the machine booted: if it is, the boot is measured; if not, the last result is loaded. Ended by its
/// destructor.
///
/// One measurement in a life: nothing restarts it. Two of its locks, of the status and of its parts, are
/// never held together.
class CBootTimePlugin final : public IBootTime {
public:
    CBootTimePlugin() = default;
    ~CBootTimePlugin();
    CBootTimePlugin(const CBootTimePlugin&) = delete;
    CBootTimePlugin& operator=(const CBootTimePlugin&) = delete;

    void* QueryInterface(const Identifier* iid) override;
    uint32_t Init(IServMain* main) override;
    void UnInit() override;
    uint32_t Start() override;
    /// Waits for the thread, which ends within moments.
    uint32_t Stop() override;

    uint32_t GetBootTime(uint32_t* timeMs) override;
    uint32_t GetTotalBootImpact(ProcessCounters* total) override;
    uint32_t GetBootImpact(vx::IList<ProcessImpact>* list, ProcessImpact* filter) override;
    uint32_t GetDiskSpeed(DiskSpeed* speed) override;
    uint32_t AddEventsObserver(IBootTimeEvents* observer) override;
    uint32_t RemoveEventsObserver(IBootTimeEvents* observer) override;

    /// The end of the measurement, on its thread: stores the result and tells the observers. Doesn't throw.
    virtual void OnDataAnalysed(uint32_t status);  // 11

    void GetSettingsFolderPath();
    /// Leaves `out` alone when no earlier run has stored it.
    void GetLastSystemStartTime(int64_t& out) const;

private:
    uint32_t _Init(IServMain* main);
    template <class Interface>
    uint32_t _Request(const wchar_t* name, Interface*& plugin);
    void _Release(const wchar_t* name, IServPlugin* plugin);
    void _StartProcessingThread();
    void _EndProcessingThread();

    static DWORD WINAPI _ProcessingThread(void* context);
    uint32_t _Process();
    bool _MustMonitor(bool& isTooLate);
    bool _Measure();
    void _TraceData();
    void _LoadLastBoot();
    bool _IsStopped() const;
    void _Finish(uint32_t result);
    void _Store();  // and the dumps of what there is
    uint32_t _OverallStatus();

    std::wstring m_settingsFolder;
    optimizer::KernelHandle m_thread;
    optimizer::KernelHandle m_stopEvent;
    BootTimeMonitor m_monitor;
    BootTimeData m_data;
    BootTimeDiskPerformance m_disk;
    BootTimeAnalyser m_analyser;
    optimizer::CallbackList<IBootTimeEvents*> m_events;
    IComponentManager* m_components = nullptr;
    IProcessProvider* m_processDp = nullptr;
    ILoadUsage* m_loadUsage = nullptr;
    uint32_t m_overallStatus GUARDED_BY(m_statusLock) = kStillMeasuring;
    optimizer::CCriticalSection m_statusLock;
    // What this object took of the shared tracker and has to give back.
    bool m_tracksUsersInit = false;
    bool m_tracksUsersStarted = false;
};

}  // namespace boottime
