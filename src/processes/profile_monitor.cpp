#include "processes/profile_monitor.h"

#include <utility>

#include <windows.h>

#include "frame/guarded.h"
#include "frame/plugin_request.h"
#include "frame/trace.h"
#include "frame/work_item.h"

namespace optimizer {

namespace {

constexpr const wchar_t* kOptimizer = L"optimizeral";

}  // namespace

bool CProfileMonitor::Start() {
    TRACE_SCOPE("CProfileMonitor::Start");
    CriticalSectionGuard guard(m_lock);
    if (m_started != 0) return true;
    if (m_observer == nullptr) return false;
    if (!_Bind()) {
        _Unbind();
        return false;
    }
    m_started = 1;
    _PostGetProfile();
    return true;
}

bool CProfileMonitor::_Bind() {
    TRACE_SCOPE("CProfileMonitor::_Bind");
    if (m_main == nullptr) return false;
    m_optimizer = RequestPlugin<IOptimizer>(m_main->GetComponentManager(), kOptimizer);
    if (m_optimizer == nullptr) return false;
    m_optimizer->AddEventsObserver(this);
    if (m_queue == nullptr) m_queue = m_main->GetEventQueue();
    if (m_queue != nullptr) m_queue->CreateSerialExecution(&m_serial);
    return true;
}

void CProfileMonitor::_Unbind() {
    if (m_serial != nullptr) m_queue->DestroySerialExecution(std::exchange(m_serial, nullptr));
    if (m_optimizer == nullptr) return;
    m_optimizer->RemoveEventsObserver(this);
    if (IComponentManager* const components = m_main->GetComponentManager()) {
        components->ReleasePlugin(kOptimizer);
    }
    m_optimizer = nullptr;
}

/// When this fails, the first profile comes with the next change.
void CProfileMonitor::_PostGetProfile() {
    TRACE_SCOPE("CProfileMonitor::_PostGetProfile");
    auto* const item = new EqWorkItemMember0<void, CProfileMonitor>(this, &CProfileMonitor::_GetProfile);
    const uint32_t error = m_serial != nullptr
                               ? m_serial->Post(L"CProfileMonitor_GetProfile", nullptr, item, 0, 0, 0)
                               : uint32_t{ERROR_INVALID_HANDLE};
    if (error == ERROR_SUCCESS) return;
    TRACE_LINE(trace::kError, L"SerialExecution::addWorkItem failed 0x%x", error);
    item->Dispose();
}

void CProfileMonitor::Stop() {
    TRACE_SCOPE("CProfileMonitor::Stop");
    CriticalSectionGuard guard(m_lock);
    if (m_started == 0) return;
    _Unbind();
    m_started = 0;
}

void CProfileMonitor::_GetProfile() {
    TRACE_SCOPE("CProfileMonitor::_GetProfile");
    // A change that is told during the read may be newer than what was read, so that it is read again. The
    // read takes the engine's locks, which whoever tells a change holds already: none of ours meanwhile.
    for (;;) {
        const uint32_t changes = m_changes;
        profile current = profile::Disabled;
        if (m_optimizer->GetProfile(&current) != ERROR_SUCCESS) return;
        const profile inForce = _InForce(current);
        CriticalSectionGuard guard(m_deliveryLock);
        if (changes != m_changes) continue;
        _Deliver(inForce);
        return;
    }
}

void CProfileMonitor::OnProfileChanged(const wchar_t*, const profile* changed) {
    TRACE_SCOPE("CProfileMonitor::OnProfileChanged");
    const profile inForce = _InForce(*changed);
    CriticalSectionGuard guard(m_deliveryLock);
    ++m_changes;
    _Deliver(inForce);
}

/// A module that is off remembers the choice of a profile and changes nothing on the machine for it, so that
/// no process may be raised for it either. Off, the engine still names the choice as its profile.
CProfileMonitor::profile CProfileMonitor::_InForce(profile named) const {
    // Also from inside an event of the engine's, whose locks let their own thread in again.
    bool on = true;
    const bool isKnown = m_optimizer->GetModuleEnable(&on) == ERROR_SUCCESS;
    return isKnown && !on ? profile::Disabled : named;
}

/// Under the delivery lock, so that the newest one comes last.
void CProfileMonitor::_Deliver(profile next) {
    static_cast<void>(Guarded([&] {
        m_observer->OnProfileChanged(&next);
        return uint32_t{ERROR_SUCCESS};
    }));
}

}  // namespace optimizer
