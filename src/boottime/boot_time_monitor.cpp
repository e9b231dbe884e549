#include "boottime/boot_time_monitor.h"

#include "boottime/stored_file.h"
#include "boottime/utils.h"
#include "boottime/win_boot_event.h"
#include "frame/json.h"
#include "frame/trace.h"
#include "frame/version.h"
#include "settings/json_file.h"

namespace boottime {

namespace trace = optimizer::trace;
using optimizer::CriticalSectionGuard;
using optimizer::CUserLogon;

namespace {

constexpr DWORD kPassMs = 1000;

/// Takes the notifications back however the measurement ends.
class ProcessNotifications {
public:
    explicit ProcessNotifications(ProcessesMonitor& monitor) : m_monitor(monitor) { m_monitor.Start(); }
    ~ProcessNotifications() { m_monitor.Stop(); }
    ProcessNotifications(const ProcessNotifications&) = delete;
    ProcessNotifications& operator=(const ProcessNotifications&) = delete;

private:
    ProcessesMonitor& m_monitor;
};

}  // namespace

BootTimeMonitor::BootTimeMonitor() = default;

BootTimeMonitor::~BootTimeMonitor() {
    UnInit();
}

void BootTimeMonitor::Init(IProcessProvider* processDp, BootTimeData* data) {
    TRACE_SCOPE("BootTimeMonitor::Init");
    m_processDp = processDp;
    m_data = data;
    if (processDp == nullptr) {
        TRACE_LINE(trace::kError, L"m_pProcessDp is null");
        return;
    }
    m_processes = std::make_unique<Processes>(data);
    m_processesMonitor = std::make_unique<ProcessesMonitor>(processDp);
    m_userLogon = std::make_unique<UserLogonObserver>();
    m_winBootEvent = std::make_unique<WinBootEvent>();
}

void BootTimeMonitor::UnInit() {
    TRACE_SCOPE("BootTimeMonitor::UnInit");
    if (m_userLogon != nullptr) CUserLogon::Instance().Observers().Remove(m_userLogon.get(), 0);
    m_userLogon.reset();
    m_winBootEvent.reset();
    m_processes.reset();
    // Stays allocated until the process ends, on purpose: a notification that is on its way still finds it.
    static_cast<void>(m_processesMonitor.release());
    m_processDp = nullptr;
}

void BootTimeMonitor::Start(HANDLE stopEvent) {
    TRACE_SCOPE("BootTimeMonitor::Start");
    if (m_processes == nullptr) return;
    CUserLogon::Instance().Observers().Add(m_userLogon.get());
    m_userLogon->Look();  // nobody told of a logon between Init and here
    if (optimizer::IsWindows6OrLater(optimizer::kVistaMinor)) m_winBootEvent->Start();
    for (const DWORD pid : utils::GetAllProcessesPids())
        m_processes->Add(pid);
    const ProcessNotifications notifications(*m_processesMonitor);
    m_quietTick = 0;
    while (_Pass(stopEvent)) {
    }
}

/// Whether another pass is due.
bool BootTimeMonitor::_Pass(HANDLE stopEvent) {
    TRACE_SCOPE("BootTimeMonitor::_Pass");
    const bool isLogged = m_userLogon->IsLogged();
    TRACE_LINE(trace::kInformation, L"User logged = %s", isLogged ? L"TRUE" : L"FALSE");
    _TakeStarted(isLogged);
    _TakeEnded();
    m_processes->Update();
    if (WaitForSingleObject(stopEvent, kPassMs) == WAIT_OBJECT_0) {
        _Set(Status::Failed);
        return false;
    }
    return !_IsBootFinished() && !_IsQuietForGood(isLogged);
}

void BootTimeMonitor::_TakeStarted(bool isLogged) {
    // What starts long after the logon is the user's work, not the boot: the list is left to grow.
    const uint32_t loginTick = m_userLogon->LoginTick();
    if (!TakesNewProcesses(isLogged, GetTickCount(), loginTick)) return;
    TRACE_MARKED_SCOPE("BootTimeMonitor::Start", L"LOAD STEP DATA");
    ProcessesMonitor::List started;
    m_processesMonitor->TakeStarted(started);
    for (const ProcessId& process : started)
        m_processes->Add(process);
}

void BootTimeMonitor::_TakeEnded() {
    TRACE_MARKED_SCOPE("BootTimeMonitor::Start", L"REM STEP DATA");
    ProcessesMonitor::List ended;
    m_processesMonitor->TakeEnded(ended);
    for (const ProcessId& process : ended)
        m_processes->Rem(process);
}

bool BootTimeMonitor::_IsBootFinished() {
    TRACE_SCOPE("BootTimeMonitor::IsBootFinished");
    const uint32_t now = GetTickCount();
    if (IsBootOverdue(now)) {
        TRACE_LINE(trace::kWarning,
                   L"Threshhold since system started reached; Stopping monitor; tick count=%d threshold=%d",
                   now, kUptimeLimitMs);
        _Set(Status::Failed);
        return true;
    }
    if (!m_winBootEvent->IsDone()) return false;
    switch (m_winBootEvent->GetStatus()) {
        case BootEventStatus::Arrived: {
            const uint32_t timeMs = m_winBootEvent->TimeMs();
            const CriticalSectionGuard guard(m_lock);
            m_bootTimeMs = timeMs;
            m_status = Status::Ready;
            TRACE_LINE(trace::kInformation, L"WinBootEvent time=%d", timeMs);
            return true;
        }
        case BootEventStatus::Retry:
            TRACE_LINE(trace::kWarning, L"WinBootEvent retry");
            m_winBootEvent->Retry();
            return false;
        case BootEventStatus::Nothing:
        case BootEventStatus::TooEarly:
            break;
    }
    return false;
}

/// Whether nothing is left to watch and the user has been there for long enough.
bool BootTimeMonitor::_IsQuietForGood(bool isLogged) {
    TRACE_SCOPE("BootTimeMonitor::_IsQuietForGood");
    if (!m_processes->IsEmpty()) return false;
    TRACE_LINE(trace::kInformation, L"empty processes list");
    if (!isLogged) {
        if (m_quietTick != 0) return false;
        m_quietTick = GetTickCount();
        TRACE_LINE(trace::kInformation, L"time system %d", m_quietTick);
        return false;
    }
    // The logon first: one that came in behind the clock's reading would seem to lie weeks back.
    const uint32_t loginTick = m_userLogon->LoginTick();
    const uint32_t now = GetTickCount();
    const auto timeMs = FinishedBootTime(now, loginTick, m_quietTick);
    if (!timeMs) return false;
    TRACE_LINE(trace::kInformation, L"user logged & empty processes list, timeSystem=%d now=%d login=%d",
               m_quietTick, now, loginTick);
    // Without the lock, on purpose: nobody reads them before the measurement is over.
    m_bootTimeMs = *timeMs;
    m_status = Status::Ready;
    return true;
}

void BootTimeMonitor::Stop() {
    TRACE_SCOPE("BootTimeMonitor::Stop");
    if (m_processes == nullptr) return;
    m_processesMonitor->Stop();
    CUserLogon::Instance().Observers().Remove(m_userLogon.get(), 0);
    if (optimizer::IsWindows6OrLater(optimizer::kVistaMinor)) m_winBootEvent->Stop();
}

void BootTimeMonitor::StoreBootTimeOnDisk(const std::wstring& folder) {
    TRACE_SCOPE("BootTimeMonitor::StoreBootTimeOnDisk");
    uint32_t timeMs = 0;
    static_cast<void>(GetBootTime(&timeMs));
    const int64_t startTimeMs = utils::SystemStartTimeMs();
    TRACE_LINE(trace::kInformation, L"systemStartTime %lld", startTimeMs);
    picojson::object object;
    object[kStartTimeKey] = ToText(startTimeMs);
    object[kBootTimeKey] = ToText(static_cast<int32_t>(timeMs));
    if (optimizer::WriteJsonFile(folder + kTimeFile, picojson::value(object)) != ERROR_SUCCESS) {
        TRACE_LINE(trace::kError, L"Failed to save boot time data in JSON");
    }
}

void BootTimeMonitor::LoadLastBootTimeFromDisk(const std::wstring& folder) {
    TRACE_SCOPE("BootTimeMonitor::LoadLastBootTimeFromDisk");
    const CriticalSectionGuard guard(m_lock);
    m_status = Status::Failed;
    picojson::value file;
    if (!ReadStoredFile(traceScope, folder + kTimeFile, L"Can't find last boot information data", file))
        return;
    const auto timeMs = ToNumber<int32_t>(optimizer::json::Find(file, kBootTimeKey));
    if (!timeMs) {
        TRACE_LINE(trace::kWarning, L"Invalid last boot json file");
        return;
    }
    TRACE_LINE(trace::kInformation, L"Loading boot time from json");
    m_bootTimeMs = static_cast<uint32_t>(*timeMs);
    TRACE_LINE(trace::kInformation, L"Loaded boot time %d", *timeMs);
    m_status = Status::Ready;
}

Status BootTimeMonitor::GetStatus() {
    const CriticalSectionGuard guard(m_lock);
    return m_status;
}

Status BootTimeMonitor::GetBootTime(uint32_t* timeMs) {
    const CriticalSectionGuard guard(m_lock);
    *timeMs = m_bootTimeMs;
    return m_status;
}

std::wstring BootTimeMonitor::DumpProcesses() const {
    return m_processes != nullptr ? m_processes->Dump() : std::wstring();
}

void BootTimeMonitor::_Set(Status status) {
    const CriticalSectionGuard guard(m_lock);
    m_status = status;
}

}  // namespace boottime
