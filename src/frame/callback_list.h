#pragma once

#include <cstdint>
#include <memory>
#include <new>
#include <vector>

#include "frame/sync_rw_lock.h"

namespace optimizer {

/// The observers of an object that notifies many. `T` is a pointer type, or another small one
/// that compares.
///
/// ForEach holds the list lock and the entry's lock for reading while it calls an observer. A Remove
/// therefore waits for every notification in flight, and an observer must not call Add or Remove from inside
/// its own notification: a reader can't become a writer, and the lock ends the process.
template <class T>
class CallbackList final {
public:
    CallbackList() = default;
    ~CallbackList() = default;
    CallbackList(const CallbackList&) = delete;
    CallbackList& operator=(const CallbackList&) = delete;

    /// 0, 183 (ERROR_ALREADY_EXISTS) or 14 (ERROR_OUTOFMEMORY).
    uint32_t Add(T observer) {
        try {
            auto entry = std::make_unique<Entry>(observer);
            WriteGuard guard(m_lock);
            for (const auto& existing : m_entries) {
                ReadGuard entryGuard(existing->lock);
                if (existing->active && existing->observer == observer) return ERROR_ALREADY_EXISTS;
            }
            m_entries.push_back(std::move(entry));
            return ERROR_SUCCESS;
        } catch (const std::bad_alloc&) {
            return ERROR_OUTOFMEMORY;
        }
    }

    /// 0, or 1168 (ERROR_NOT_FOUND). Blocks while a notification is in flight.
    virtual uint32_t Remove(T observer, uint64_t context) {
        WriteGuard guard(m_lock);
        for (auto entry = m_entries.begin(); entry != m_entries.end(); ++entry) {
            if ((*entry)->active && (*entry)->observer == observer && (*entry)->context == context) {
                m_entries.erase(entry);
                return ERROR_SUCCESS;
            }
        }
        return ERROR_NOT_FOUND;
    }

    bool IsEmpty() {
        ReadGuard guard(m_lock);
        return m_entries.empty();
    }

    /// Calls `notify(observer)` for each active observer, the first added first.
    template <class Notify>
    void ForEach(Notify notify) {
        ReadGuard guard(m_lock);
        for (const auto& entry : m_entries) {
            ReadGuard entryGuard(entry->lock);
            if (entry->active) notify(entry->observer);
        }
    }

private:
    struct Entry {
        explicit Entry(T o) : observer(o) {}

        T observer;
        uint64_t context = 0;
        CSyncRWLock lock;
        uint8_t active = 1;
    };

    std::vector<std::unique_ptr<Entry>> m_entries GUARDED_BY(m_lock);
    CSyncRWLock m_lock;
};

}  // namespace optimizer
