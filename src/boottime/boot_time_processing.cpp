// The processing thread of the plug-in.
#include "boottime/boot_time_plugin.h"
#include "boottime/stored_file.h"
#include "boottime/utils.h"
#include "frame/guarded.h"
#include "frame/json.h"
#include "frame/trace.h"

namespace boottime {

namespace trace = optimizer::trace;
using optimizer::CriticalSectionGuard;
using optimizer::CUserLogon;

void CBootTimePlugin::GetLastSystemStartTime(int64_t& out) const {
    TRACE_SCOPE("CBootTimePlugin::GetLastSystemStartTime");
    picojson::value file;
    std::string error;
    if (ReadStoredFile(m_settingsFolder + kTimeFile, file, error) != StoredFileState::Ok) return;
    const auto stored = ToNumber<int64_t>(optimizer::json::Find(file, kStartTimeKey));
    if (stored) out = *stored;
}

DWORD WINAPI CBootTimePlugin::_ProcessingThread(void* context) {
    TRACE_SCOPE("CBootTimePlugin::ProcessingThread");
    if (context == nullptr) {
        TRACE_LINE(trace::kError, L"null context pointer");
        return 0;
    }
    auto* const self = static_cast<CBootTimePlugin*>(context);
    uint32_t result = kNoResults;
    const uint32_t error =
        optimizer::Guarded([&] { return result = self->_Process(), uint32_t{ERROR_SUCCESS}; });
    // What was thrown ends the measurement as any other failure does.
    if (error != ERROR_SUCCESS) TRACE_LINE(trace::kError, L"The measurement failed 0x%x", error);
    self->_Finish(result);
    return 0;
}

/// The status of the whole.
uint32_t CBootTimePlugin::_Process() {
    bool isTooLate = false;
    const bool mustMonitor = _MustMonitor(isTooLate);
    const bool isStopped = mustMonitor && _Measure();
    const bool isReady = !isTooLate && !isStopped && m_monitor.GetStatus() == Status::Ready &&
                         m_analyser.GetStatus() == Status::Ready;
    return isReady ? kResultsThere : kNoResults;
}

/// Whether the machine has booted since the last result. Loads that result when it hasn't.
bool CBootTimePlugin::_MustMonitor(bool& isTooLate) {
    TRACE_SCOPE("CBootTimePlugin::_MustMonitor");
    const bool isLogged = CUserLogon::IsUserLogged();
    int64_t last = 0;
    GetLastSystemStartTime(last);
    if (last == 0) {
        TRACE_LINE(trace::kInformation, L"last system boot time is 0");
        isTooLate = isLogged;
        TRACE_LINE(trace::kInformation, isTooLate ? L"no boot time (user logged)"
                                                  : L"must start processes monitor (user not logged)");
        return !isTooLate;
    }
    const int64_t current = utils::SystemStartTimeMs();
    TRACE_LINE(trace::kInformation, L"lastSystemStartTime=%lld ; currentSystemStartTime=%lld", last, current);
    if (IsSameBoot(last, current)) {
        TRACE_LINE(trace::kInformation, L"load data from file");
        _LoadLastBoot();
        return false;
    }
    TRACE_LINE(trace::kInformation, L"must start processes monitor (diff system start time)");
    return true;
}

/// Whether it was stopped.
bool CBootTimePlugin::_Measure() {
    TRACE_SCOPE("CBootTimePlugin::_Measure");
    m_monitor.Start(m_stopEvent.Get());
    if (_IsStopped()) return true;
    if (m_monitor.GetStatus() != Status::Ready) {
        TRACE_LINE(trace::kInformation,
                   L"Monitor did not detect boot time; Trying to load last boot time data");
        _LoadLastBoot();
        return false;
    }
    _TraceData();
    m_analyser.Start();
    m_disk.Start(m_stopEvent.Get());
    return _IsStopped();
}

void CBootTimePlugin::_TraceData() {
    TRACE_MARKED_SCOPE("CBootTimePlugin::_Measure", L"BOOT DATA:");
    TRACE_LINE(trace::kInformation, L"%s", m_data.Dump().c_str());
}

void CBootTimePlugin::_LoadLastBoot() {
    m_monitor.LoadLastBootTimeFromDisk(m_settingsFolder);
    m_analyser.LoadLastBootProcessImpactFromDisk(m_settingsFolder);
}

bool CBootTimePlugin::_IsStopped() const {
    return WaitForSingleObject(m_stopEvent.Get(), 0) == WAIT_OBJECT_0;
}

void CBootTimePlugin::_Finish(uint32_t result) {
    {
        const CriticalSectionGuard guard(m_statusLock);
        m_overallStatus = result;
    }
    OnDataAnalysed(result);
}

void CBootTimePlugin::OnDataAnalysed(uint32_t status) {
    TRACE_SCOPE("CBootTimePlugin::OnDataAnalysed");
    TRACE_LINE(trace::kInformation, L"OnDataAnalysed error code %d", status);
    // Whatever fails in here, the observers hear of the end, each of them.
    static_cast<void>(optimizer::Guarded([&] { return _Store(), uint32_t{ERROR_SUCCESS}; }));
    m_events.ForEach([status](IBootTimeEvents* observer) {
        static_cast<void>(
            optimizer::Guarded([&] { return observer->OnDataAnalysed(status), uint32_t{ERROR_SUCCESS}; }));
    });
}

void CBootTimePlugin::_Store() {
    TRACE_SCOPE("CBootTimePlugin::OnDataAnalysed");
    TRACE_LINE(trace::kInformation, L"%s",
               (L"Listing processes\n\n" + m_monitor.DumpProcesses() + L"Done\n\n" + m_data.Dump() +
                m_analyser.Dump())
                   .c_str());
    // After a load from the files too: they then hold the start time of this boot.
    if (m_monitor.GetStatus() == Status::Ready && m_analyser.GetStatus() == Status::Ready) {
        m_monitor.StoreBootTimeOnDisk(m_settingsFolder);
        m_analyser.StoreProcessImpactOnDisk(m_settingsFolder);
    }
}

}  // namespace boottime
