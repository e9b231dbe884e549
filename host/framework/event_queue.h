#pragma once

#include <array>
#include <list>
#include <optional>
#include <vector>

#include "frame/critical_section.h"
#include "framework/handle_table.h"
#include "framework/queue_threads.h"
#include "framework/serial_execution.h"

namespace host {

/// The host's threads and timers.
///
/// Any thread may call any operation at any time, before Start and after Stop too: items posted before Start
/// wait for it, after Stop there are errors (5023, ERROR_INVALID_STATE) until the next Start. Every accepted
/// item is disposed of exactly once, after its run or in place of it, and before those who wait for it go on.
/// Nothing is called under the queue's lock.
///
/// Stop waits three seconds for what runs. An item may sit in a wait that only its owner ends, whom the host
/// stops after the queue; so Stop then gives 258 (WAIT_TIMEOUT) and leaves the item running, and the next
/// Start or the destructor waits for its end. On a queue thread Stop doesn't wait at all, since its own is
/// one of them. The destructor must not run on a queue thread.
class CEventQueue final : public IEventQueue {
public:
    CEventQueue() = default;
    ~CEventQueue();
    CEventQueue(const CEventQueue&) = delete;
    CEventQueue& operator=(const CEventQueue&) = delete;

    uint32_t Reserved0() override { return ERROR_NOT_SUPPORTED; }
    /// 0, 87 for no threads or too many, 183 when it runs already, 5023 on one of its own threads, or the
    /// system's error.
    uint32_t Start(uint32_t threadCount) override;
    uint32_t Stop() override;
    /// 0, 87 without an item, 14 or 5023.
    uint32_t Post(const wchar_t* name, QueueHandle* out, EqWorkItem* item, uint64_t reserved1,
                  uint64_t reserved2, uint64_t reserved3) override;
    /// As Post; 87 for a period or a count of 0 too. A firing that comes due while the item runs is left out.
    uint32_t PostTimer(const wchar_t* name, QueueHandle* out, uint32_t periodMs, uint32_t repeatCount,
                       EqWorkItem* item, uint64_t reserved1, uint64_t reserved2, uint64_t reserved3) override;
    uint32_t Reserved5() override { return ERROR_NOT_SUPPORTED; }
    /// 0 when the item has ended, 258 when it hasn't, 6 for a handle that isn't there, 1131
    /// (ERROR_POSSIBLE_DEADLOCK) for a thread that would wait for itself. A timer ends with its last firing.
    uint32_t Wait(QueueHandle handle, uint32_t timeoutMs) override;
    /// 0, or 6 for a handle that isn't there. Disposes of an item that it drops on the calling thread.
    uint32_t Cancel(QueueHandle handle) override;
    uint32_t CloseItem(QueueHandle handle) override;
    uint32_t Reserved9() override { return ERROR_NOT_SUPPORTED; }
    uint32_t Reserved10() override { return ERROR_NOT_SUPPORTED; }
    uint32_t CreateSerialExecution(ISerialExecution** out) override;
    /// From inside one of its own items it returns at once; the serial execution goes when that item has
    /// ended.
    void DestroySerialExecution(ISerialExecution* serial) override;

    /// For CSerialExecution. As Post.
    uint32_t PostSerial(CSerialExecution& serial, const wchar_t* name, QueueHandle* out, EqWorkItem* item);

private:
    static constexpr uint32_t kMostThreads = 64;
    using Lock = optimizer::LockGuard<optimizer::CSlimLock>;
    enum class State { Fresh, Running, Stopped };
    struct Schedule {
        CSerialExecution* serial = nullptr;
        uint32_t periodMs = 0;
        uint32_t firings = 0;
    };

    uint32_t _Submit(const wchar_t* name, QueueHandle* out, EqWorkItem* work, const Schedule& schedule);
    optimizer::CSignal* _Enqueue(ItemList& fresh, ItemRef item) REQUIRES(m_lock);
    bool _Arm(ItemList& from, ItemRef item) REQUIRES(m_lock);

    uint32_t _StartThreads(uint32_t threadCount) REQUIRES(m_lock);
    void _RunItems(optimizer::CSignal& work);
    optimizer::CSignal* _TakeIdle() REQUIRES(m_lock);
    void _WakeAll() REQUIRES(m_lock);
    void _RunTimers();
    void _RunOne(ItemRef item) REQUIRES(m_lock);
    bool _FiresAgain(ItemRef item) REQUIRES(m_lock);

    ItemList& _ListOf(const QueueItem& item) REQUIRES(m_lock);
    void _Move(ItemRef item, ItemState state) REQUIRES(m_lock);
    void _Activate(ItemRef item) REQUIRES(m_lock);
    void _End(ItemRef item) REQUIRES(m_lock);
    void _Drop(ItemRef item) REQUIRES(m_lock);
    void _DropAll() REQUIRES(m_lock);
    bool _PassTurn(CSerialExecution& serial) REQUIRES(m_lock);
    void _ForgetIfUnused(ItemRef item) REQUIRES(m_lock);
    std::optional<ItemRef> _FirstWaiting() REQUIRES(m_lock);
    uint32_t _CountActiveHere(const CSerialExecution& serial) const REQUIRES(m_lock);
    bool _WaitsForItself(const QueueItem& item) const REQUIRES(m_lock);

    optimizer::CCriticalSection m_lifeLock;  // held while threads start or are waited for
    optimizer::CSlimLock m_lock ACQUIRED_AFTER(m_lifeLock);
    State m_state GUARDED_BY(m_lock) = State::Fresh;
    // Changed under both locks, and so read under either, which the check of the locks has no word for.
    uint64_t m_generation = 0;  // counts the starts
    CQueueThreads m_threads;
    std::list<CSerialExecution> m_serials GUARDED_BY(m_lock);
    ItemList m_ready GUARDED_BY(m_lock);
    ItemList m_armed GUARDED_BY(m_lock);  // sorted by due time
    ItemList m_active GUARDED_BY(m_lock);
    ItemList m_ended GUARDED_BY(m_lock);
    CHandleTable m_handles GUARDED_BY(m_lock);
    // One for each thread: an item is ready, or the state changed.
    std::array<optimizer::CSignal, kMostThreads> m_work;
    std::vector<optimizer::CSignal*> m_idle
        GUARDED_BY(m_lock);      // of the threads that wait, the one that ran last at the end
    optimizer::CSignal m_alarm;  // the first timer changed, or the state did
};

}  // namespace host
