#pragma once

#include <windows.h>

namespace optimizer {

/// How long a caller waits for news in all, however often it is woken in between, and what ends the wait
/// before. One thread.
class CPatience {
public:
    /// `stop`, an event, may be null.
    CPatience(DWORD timeoutMs, HANDLE stop) : m_end(GetTickCount64() + timeoutMs), m_stop(stop) {}

    /// Blocks until `news` is signalled: 0, 1223 (ERROR_CANCELLED) when somebody stops the wait, 1460
    /// (ERROR_TIMEOUT) when its time is over, or the system's error.
    [[nodiscard]] DWORD WaitFor(HANDLE news) const {
        const ULONGLONG now = GetTickCount64();
        const DWORD leftMs = now < m_end ? static_cast<DWORD>(m_end - now) : 0;
        // The stop first: whoever sends news without an end must not keep it out.
        const HANDLE handles[] = {m_stop != nullptr ? m_stop : news, news};
        const DWORD count = m_stop != nullptr ? 2 : 1;
        const DWORD result = WaitForMultipleObjects(count, handles, FALSE, leftMs);
        const DWORD error = GetLastError();
        if (result == WAIT_OBJECT_0 + count - 1) return ERROR_SUCCESS;
        if (result == WAIT_OBJECT_0) return ERROR_CANCELLED;
        return result == WAIT_TIMEOUT ? DWORD{ERROR_TIMEOUT} : error;
    }

private:
    const ULONGLONG m_end;
    const HANDLE m_stop;
};

}  // namespace optimizer
