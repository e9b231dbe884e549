#pragma once

#include <cstdint>

#include <windows.h>

namespace host {

/// A time-out that runs from its making. INFINITE never ends.
class CDeadline {
public:
    explicit CDeadline(uint32_t timeoutMs) : m_timeoutMs(timeoutMs), m_startMs(GetTickCount64()) {}

    DWORD LeftMs() const {
        if (m_timeoutMs == INFINITE) return INFINITE;
        const uint64_t passedMs = GetTickCount64() - m_startMs;
        return passedMs < m_timeoutMs ? static_cast<DWORD>(m_timeoutMs - passedMs) : 0;
    }

private:
    const uint32_t m_timeoutMs;
    const uint64_t m_startMs;
};

}  // namespace host
