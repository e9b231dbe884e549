#pragma once

#include <cstdint>

#include "border/connector.h"
#include "frame/slim_lock.h"

namespace host {

/// The receive function of an endpoint, and whether it may be called. Any thread.
class CReceiveGate {
public:
    CReceiveGate() = default;
    CReceiveGate(const CReceiveGate&) = delete;
    CReceiveGate& operator=(const CReceiveGate&) = delete;

    void Open(ConnectorCallback* function, void* context);
    /// Blocks until no call runs. Not from inside one.
    void Close();
    /// Whether Open was ever called.
    bool WasOpened();
    /// Calls the function, or drops the message when the gate is closed.
    void Deliver(const ConnectorMessage* message);

private:
    optimizer::CSlimLock m_lock;  // nothing is called under it
    ConnectorCallback* m_function GUARDED_BY(m_lock) = nullptr;
    void* m_context GUARDED_BY(m_lock) = nullptr;
    bool m_wasOpened GUARDED_BY(m_lock) = false;
    uint32_t m_running GUARDED_BY(m_lock) = 0;
    optimizer::CSignal m_idle;
};

}  // namespace host
