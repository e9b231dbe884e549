#pragma once

#include <mutex>

#include <windows.h>

namespace optimizer {

/// A lock that its thread may take again. Fits std::lock_guard and std::unique_lock.
class CCriticalSection {
public:
    CCriticalSection() { InitializeCriticalSection(&m_section); }
    ~CCriticalSection() { DeleteCriticalSection(&m_section); }
    CCriticalSection(const CCriticalSection&) = delete;
    CCriticalSection& operator=(const CCriticalSection&) = delete;

    void lock() { EnterCriticalSection(&m_section); }
    void unlock() { LeaveCriticalSection(&m_section); }

private:
    CRITICAL_SECTION m_section;
};

using CriticalSectionGuard = std::lock_guard<CCriticalSection>;

}  // namespace optimizer
