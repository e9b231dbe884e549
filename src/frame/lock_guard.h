#pragma once

#include "frame/thread_safety.h"

namespace optimizer {

/// Holds a lock for a scope, and may give it up and take it again meanwhile. The standard library's guards do
/// the same, but say nothing to the check of the locks.
template <class Lock>
class SCOPED_CAPABILITY LockGuard {
public:
    explicit LockGuard(Lock& lock) ACQUIRE(lock) : m_lock(lock) { lock.lock(); }
    ~LockGuard() RELEASE() {
        if (m_isHeld) m_lock.unlock();
    }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

    void unlock() RELEASE() {
        m_isHeld = false;
        m_lock.unlock();
    }
    void lock() ACQUIRE() {
        m_lock.lock();
        m_isHeld = true;
    }

private:
    Lock& m_lock;
    bool m_isHeld = true;
};

/// Holds the shared side of a lock for a scope.
template <class Lock>
class SCOPED_CAPABILITY SharedGuard {
public:
    explicit SharedGuard(Lock& lock) ACQUIRE_SHARED(lock) : m_lock(lock) { lock.lock_shared(); }
    ~SharedGuard() RELEASE() { m_lock.unlock_shared(); }
    SharedGuard(const SharedGuard&) = delete;
    SharedGuard& operator=(const SharedGuard&) = delete;

private:
    Lock& m_lock;
};

}  // namespace optimizer
