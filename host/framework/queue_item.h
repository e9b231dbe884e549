#pragma once

#include <chrono>
#include <cstdint>
#include <cwchar>
#include <list>

#include "border/host.h"
#include "frame/slim_lock.h"

namespace host {

class CSerialExecution;

using Clock = std::chrono::steady_clock;

/// Which of the queue's lists an item is in.
enum class ItemState : uint8_t {
    Ready,   // waits for a thread
    Behind,  // waits for earlier items of its serial execution
    Armed,   // a timer between two firings
    Active,  // a thread runs it or disposes of it
    Ended,   // disposed of, and remembered for those who hold its handle
};

/// One posted item. All fields but `work` and `label` are guarded by the queue's lock.
struct QueueItem {
    explicit QueueItem(EqWorkItem* w, const wchar_t* name) : work(w) {
        wcsncpy_s(label, std::size(label), name != nullptr ? name : L"", _TRUNCATE);
    }

    EqWorkItem* work;
    CSerialExecution* serial = nullptr;
    QueueHandle handle = nullptr;  // null when nobody can ask for the item
    uint32_t waiters = 0;
    DWORD thread = 0;  // the thread that runs or disposes of it
    ItemState state = ItemState::Ready;
    uint32_t periodMs = 0;     // 0 for an item that isn't a timer
    uint32_t firingsLeft = 0;  // kRepeatForever has no bound
    Clock::time_point due;
    optimizer::CSignal ended;
    wchar_t label[64];
};

/// An item moves between lists by splicing, which neither allocates nor invalidates an ItemRef.
using ItemList = std::list<QueueItem>;
using ItemRef = ItemList::iterator;

/// When a timer that fired for `due` fires next: in step with its period, without the firings that a long run
/// missed.
inline Clock::time_point NextDue(Clock::time_point due, uint32_t periodMs, Clock::time_point now) {
    const auto period = std::chrono::milliseconds(periodMs);
    const auto next = due + period;
    return next > now ? next : next + (now - next) / period * period + period;
}

/// Whole milliseconds until `due`, rounded up so that nobody wakes before it; 0 when it has come.
inline DWORD MsUntil(Clock::time_point due, Clock::time_point now) {
    if (due <= now) return 0;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(due - now).count();
    return static_cast<DWORD>(left < INFINITE ? left : INFINITE - 1);
}

}  // namespace host
