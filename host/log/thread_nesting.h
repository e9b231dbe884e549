#pragma once

#include <cstdint>

#include <windows.h>

namespace host {

/// How deep each thread is in traced methods. Entries made under another generation count as none, since the
/// leave lines that belong to them may never have been seen.
class CThreadNesting {
public:
    CThreadNesting() : m_slot(TlsAlloc()) {}
    ~CThreadNesting() {
        if (m_slot != TLS_OUT_OF_INDEXES) TlsFree(m_slot);
    }
    CThreadNesting(const CThreadNesting&) = delete;
    CThreadNesting& operator=(const CThreadNesting&) = delete;

    /// The depth of a line of the calling thread: an entry line (1) stands above what follows it, a leave
    /// line
    /// (-1) at the depth of its entry.
    uint32_t DepthOfLine(int32_t nesting, uint32_t generation) const {
        if (m_slot == TLS_OUT_OF_INDEXES) return 0;
        const auto stored = reinterpret_cast<uint64_t>(TlsGetValue(m_slot));
        uint32_t depth = stored >> 32 == generation ? static_cast<uint32_t>(stored) : 0;
        if (nesting < 0 && depth > 0) --depth;
        const uint64_t next = nesting > 0 ? depth + 1 : depth;
        TlsSetValue(m_slot, reinterpret_cast<void*>(uint64_t{generation} << 32 | next));
        return depth;
    }

private:
    DWORD m_slot;
};

}  // namespace host
