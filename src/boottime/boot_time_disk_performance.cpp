#include "boottime/boot_time_disk_performance.h"

#include "boottime/utils.h"
#include "frame/trace.h"

namespace boottime {

namespace trace = optimizer::trace;
using optimizer::CriticalSectionGuard;

namespace {

constexpr DWORD kIntervalMs = 1000;

/// The idle time of all processors together. After a failure `time` stays as it was, and the wait goes on.
void ReadIdleTime(FILETIME& time) {
    TRACE_SCOPE("BootTimeDiskPerformance::ReadIdleTime");
    FILETIME kernel = {};
    FILETIME user = {};
    if (GetSystemTimes(&time, &kernel, &user)) return;
    const DWORD error = GetLastError();
    TRACE_LINE(trace::kWarning, L"GetSystemTimes failed with error code %lu", error);
}

uint32_t CountProcessors() {
    SYSTEM_INFO system = {};
    GetSystemInfo(&system);
    return system.dwNumberOfProcessors;
}

/// Waits until the processors are nearly idle; false when it was stopped.
bool WaitForIdle(HANDLE stopEvent) {
    TRACE_SCOPE("BootTimeDiskPerformance::WaitForIdle");
    const uint32_t start = GetTickCount();
    const uint32_t processors = CountProcessors();
    uint32_t last = GetTickCount();
    FILETIME idle = {};
    ReadIdleTime(idle);
    while (WaitForSingleObject(stopEvent, kIntervalMs) != WAIT_OBJECT_0) {
        const uint64_t idleBefore = utils::ToTicks(idle);
        ReadIdleTime(idle);
        const uint32_t now = GetTickCount();
        if (MayMeasureDisk(utils::ToTicks(idle) - idleBefore, processors, now - last, now - start)) {
            return true;
        }
        last = now;
    }
    return false;
}

}  // namespace

void BootTimeDiskPerformance::Start(HANDLE stopEvent) {
    TRACE_SCOPE("BootTimeDiskPerformance::Start");
    if (m_loadUsage == nullptr) {
        _Finish(Status::Failed, {});
    } else {
        MeasureDiskPerformance(stopEvent);
    }
}

void BootTimeDiskPerformance::MeasureDiskPerformance(HANDLE stopEvent) {
    TRACE_SCOPE("BootTimeDiskPerformance::MeasureDiskPerformance");
    if (!WaitForIdle(stopEvent)) {
        _Finish(Status::Failed, {});
        return;
    }
    const DiskSpeed speed = _AskTwice();
    _Finish(Status::Ready, speed);
    TRACE_LINE(trace::kInformation, L"Disk speed determined [min, max, avg]=[%f, %f, %f]; status = %d",
               speed.min_hddUsage, speed.max_hddUsage, speed.average_hddUsage,
               static_cast<int32_t>(Status::Ready));
}

/// The mean of two answers, one right after the other.
DiskSpeed BootTimeDiskPerformance::_AskTwice() {
    constexpr int kAnswers = 2;
    constexpr double kShare = 0.5;
    DiskSpeed mean = {};
    for (int i = 0; i < kAnswers; ++i) {
        DiskSpeed answer = {};
        void* figures = &answer;
        uint32_t flags = 0;
        // Plug-ins answer what they like here; the figures count.
        static_cast<void>(m_loadUsage->GetFigures(ILoadUsage::kDiskFigures, &figures, &flags));
        mean.min_hddUsage += answer.min_hddUsage;
        mean.max_hddUsage += answer.max_hddUsage;
        mean.average_hddUsage += answer.average_hddUsage;
    }
    return {mean.min_hddUsage * kShare, mean.max_hddUsage * kShare, mean.average_hddUsage * kShare};
}

Status BootTimeDiskPerformance::GetDiskSpeed(DiskSpeed* speed) {
    const CriticalSectionGuard guard(m_lock);
    *speed = m_speed;
    return m_status;
}

void BootTimeDiskPerformance::_Finish(Status status, const DiskSpeed& speed) {
    const CriticalSectionGuard guard(m_lock);
    m_status = status;
    m_speed = speed;
}

}  // namespace boottime
