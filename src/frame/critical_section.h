#pragma once

#include <windows.h>

#include "frame/lock_guard.h"

namespace optimizer {

/// A lock that its thread may take again.
class CAPABILITY("lock") CCriticalSection {
public:
    CCriticalSection() { InitializeCriticalSection(&m_section); }
    ~CCriticalSection() { DeleteCriticalSection(&m_section); }
    CCriticalSection(const CCriticalSection&) = delete;
    CCriticalSection& operator=(const CCriticalSection&) = delete;

    void lock() ACQUIRE() { EnterCriticalSection(&m_section); }
    void unlock() RELEASE() { LeaveCriticalSection(&m_section); }

private:
    CRITICAL_SECTION m_section;
};

using CriticalSectionGuard = LockGuard<CCriticalSection>;

}  // namespace optimizer
