#include "boottime/win_boot_event.h"

#include <utility>

#include "boottime/utils.h"
#include "frame/trace.h"

namespace boottime {

namespace trace = optimizer::trace;
using optimizer::CriticalSectionGuard;

namespace {

constexpr const wchar_t* kService = L"RpcSs";

}  // namespace

BootTimeMonitor::WinBootEvent::~WinBootEvent() {
    Stop();
}

uint32_t BootTimeMonitor::WinBootEvent::Start() {
    TRACE_SCOPE("WinBootEvent::Start");
    const CriticalSectionGuard guard(m_lock);
    if (m_serviceMonitor != nullptr) return 0;
    ResetEvent(m_doneEvent.Get());
    m_status = BootEventStatus::Nothing;
    m_timeMs = 0;
    m_startTimeMs = utils::SystemTimeMs();
    m_subscribed = false;
    if (_StartSources()) return 1;
    _Finish(BootEventStatus::Retry);
    return 0;
}

/// The service's notification, which may come at once, waits for the lock.
bool BootTimeMonitor::WinBootEvent::_StartSources() {
    TRACE_SCOPE("WinBootEvent::Start");
    m_bootEvents = std::make_unique<CWinBootEvents>();
    if (!m_bootEvents->Init()) {
        TRACE_LINE(trace::kError, L"WinBootEvents init failed");
        return false;
    }
    m_serviceMonitor = std::make_unique<WinServiceStartMonitor>(kService, this);
    if (!m_serviceMonitor->Start()) {
        TRACE_LINE(trace::kError, L"WinServiceStartMonitor failed to start");
        return false;
    }
    return true;
}

void BootTimeMonitor::WinBootEvent::Stop() {
    TRACE_SCOPE("WinBootEvent::Stop");
    std::unique_ptr<WinServiceStartMonitor> serviceMonitor;
    {
        const CriticalSectionGuard guard(m_lock);
        serviceMonitor = std::move(m_serviceMonitor);
    }
    // Waits for its thread, which may be about to take the lock.
    serviceMonitor.reset();
    std::unique_ptr<CWinBootEvents> bootEvents;
    {
        const CriticalSectionGuard guard(m_lock);
        bootEvents = std::move(m_bootEvents);
    }
    bootEvents.reset();
    ResetEvent(m_doneEvent.Get());
}

bool BootTimeMonitor::WinBootEvent::Subscribe() {
    TRACE_SCOPE("WinBootEvent::Subscribe");
    const CriticalSectionGuard guard(m_lock);
    if (m_bootEvents == nullptr) return false;
    FILETIME newest = {};
    if (!m_bootEvents->GetLastBootEventTime(&newest)) {
        const DWORD error = GetLastError();
        TRACE_LINE(trace::kWarning, L"GetLastBootEventTime failed 0x%x", error);
        newest = {};
    }
    if (!m_bootEvents->Subscribe(&newest, this)) {
        const DWORD error = GetLastError();
        TRACE_LINE(trace::kError, L"WinBootEvents Subscribe failed 0x%x", error);
        return false;
    }
    return true;
}

void BootTimeMonitor::WinBootEvent::Retry() {
    if (!IsDone() || m_status != BootEventStatus::Retry) return;
    // Reset first: an event that is delivered while this subscribes is a new result.
    ResetEvent(m_doneEvent.Get());
    if (!Subscribe()) SetEvent(m_doneEvent.Get());
}

void BootTimeMonitor::WinBootEvent::OnServiceStarted(const wchar_t*) {
    TRACE_SCOPE("WinBootEvent::OnServiceStarted");
    if (m_subscribed.exchange(true)) return;
    if (!Subscribe()) _Finish(BootEventStatus::Retry);
}

void BootTimeMonitor::WinBootEvent::OnWinBootEvent(uint32_t bootTimeMs, FILETIME* written, uint32_t flags) {
    TRACE_SCOPE("WinBootEvent::OnWinBootEvent");
    if (IsDone()) return;
    const auto status =
        JudgeBootEvent(flags, utils::ToMs(*written), utils::SystemStartTimeMs(), m_startTimeMs);
    if (!status) return;
    if (*status == BootEventStatus::Arrived) m_timeMs = bootTimeMs;
    _Finish(*status);
}

void BootTimeMonitor::WinBootEvent::_Finish(BootEventStatus status) {
    m_status = status;
    SetEvent(m_doneEvent.Get());
}

}  // namespace boottime
