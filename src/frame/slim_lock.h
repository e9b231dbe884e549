// The system's smallest lock and condition variable, which need no clean-up.
#pragma once

#include <windows.h>

#include "frame/lock_guard.h"

namespace optimizer {

/// Held for moments; its thread can't take it again.
class CAPABILITY("lock") CSlimLock {
public:
    CSlimLock() = default;
    CSlimLock(const CSlimLock&) = delete;
    CSlimLock& operator=(const CSlimLock&) = delete;

    void lock() ACQUIRE() { AcquireSRWLockExclusive(&m_lock); }
    void unlock() RELEASE() { ReleaseSRWLockExclusive(&m_lock); }
    void lock_shared() ACQUIRE_SHARED() { AcquireSRWLockShared(&m_lock); }
    void unlock_shared() RELEASE_SHARED() { ReleaseSRWLockShared(&m_lock); }

private:
    friend class CSignal;

    SRWLOCK m_lock = SRWLOCK_INIT;
};

/// Wakes threads that wait for a state guarded by a CSlimLock.
class CSignal {
public:
    CSignal() = default;
    CSignal(const CSignal&) = delete;
    CSignal& operator=(const CSignal&) = delete;

    /// Gives `lock` up while it waits. May return before its time, with nothing changed: callers look again.
    void Wait(CSlimLock& lock, DWORD timeoutMs = INFINITE) REQUIRES(lock) {
        SleepConditionVariableSRW(&m_variable, &lock.m_lock, timeoutMs, 0);
    }
    void WakeOne() { WakeConditionVariable(&m_variable); }
    void WakeAll() { WakeAllConditionVariable(&m_variable); }

private:
    CONDITION_VARIABLE m_variable = CONDITION_VARIABLE_INIT;
};

}  // namespace optimizer
