#pragma once

#include <cstdint>

#include "frame/handles.h"

namespace host {

/// One thread that runs a member function of its owner. The owner joins it; started once.
class CWorkerThread {
public:
    CWorkerThread() = default;
    CWorkerThread(const CWorkerThread&) = delete;
    CWorkerThread& operator=(const CWorkerThread&) = delete;

    /// Runs `(owner->*body)()`, which must not throw. 0 or the system's error.
    template <auto body, class Owner>
    [[nodiscard]] uint32_t Start(Owner* owner) {
        return _Start(
            [](void* argument) -> unsigned {
                static_assert(noexcept((static_cast<Owner*>(argument)->*body)()));
                (static_cast<Owner*>(argument)->*body)();
                return 0;
            },
            owner);
    }

    /// Whether it was started and hasn't been joined.
    bool IsStarted() const { return static_cast<bool>(m_thread); }
    /// Blocks until the body has ended. Not on the thread itself.
    void Join();
    /// As Join, for a while; false when the body goes on.
    bool JoinWithin(uint32_t timeoutMs);

private:
    uint32_t _Start(unsigned (*body)(void*), void* argument);

    optimizer::KernelHandle m_thread;
};

}  // namespace host
