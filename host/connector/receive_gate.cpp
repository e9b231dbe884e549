#include "connector/receive_gate.h"

namespace host {

using optimizer::LockGuard;

void CReceiveGate::Open(ConnectorCallback* function, void* context) {
    const LockGuard lock(m_lock);
    m_function = function;
    m_context = context;
    m_wasOpened = true;
}

void CReceiveGate::Close() {
    const LockGuard lock(m_lock);
    m_function = nullptr;
    while (m_running > 0)
        m_idle.Wait(m_lock);
}

bool CReceiveGate::WasOpened() {
    const LockGuard lock(m_lock);
    return m_wasOpened;
}

void CReceiveGate::Deliver(const ConnectorMessage* message) {
    LockGuard lock(m_lock);
    ConnectorCallback* const function = m_function;
    void* const context = m_context;
    if (function == nullptr) return;
    ++m_running;
    lock.unlock();
    function(context, message);
    lock.lock();
    if (--m_running == 0) m_idle.WakeAll();
}

}  // namespace host
