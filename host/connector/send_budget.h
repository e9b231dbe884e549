#pragma once

#include <atomic>
#include <cstddef>

namespace host {

/// How many bytes may wait for readers, of all clients of a pipe together or, within that, of one account's.
/// Any thread. Outlives whoever took from it.
class CSendBudget {
public:
    explicit CSendBudget(size_t mostBytes, CSendBudget* whole = nullptr)
        : m_mostBytes(mostBytes), m_whole(whole) {}
    CSendBudget(const CSendBudget&) = delete;
    CSendBudget& operator=(const CSendBudget&) = delete;

    /// False when there is no room, here or in the whole; nothing is taken then.
    bool TryTake(size_t bytes) {
        size_t taken = m_takenBytes;
        do {
            if (bytes > m_mostBytes - taken) return false;
        } while (!m_takenBytes.compare_exchange_weak(taken, taken + bytes));
        if (m_whole == nullptr || m_whole->TryTake(bytes)) return true;
        m_takenBytes -= bytes;
        return false;
    }
    void GiveBack(size_t bytes) {
        m_takenBytes -= bytes;
        if (m_whole != nullptr) m_whole->GiveBack(bytes);
    }

private:
    const size_t m_mostBytes;
    CSendBudget* const m_whole;
    std::atomic<size_t> m_takenBytes = 0;
};

}  // namespace host
