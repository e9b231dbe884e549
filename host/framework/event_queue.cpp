#include "framework/event_queue.h"

#include <algorithm>
#include <new>

#include "frame/trace.h"

namespace host {

using optimizer::CriticalSectionGuard;
using optimizer::CSignal;

namespace trace = optimizer::trace;

CEventQueue::~CEventQueue() {
    TRACE_SCOPE("CEventQueue::~CEventQueue");
    Stop();
    m_threads.Join();
    if (!m_serials.empty()) {
        TRACE_LINE(trace::kWarning, L"%u serial executions were never destroyed",
                   static_cast<uint32_t>(m_serials.size()));
    }
}

uint32_t CEventQueue::Post(const wchar_t* name, QueueHandle* out, EqWorkItem* item, uint64_t, uint64_t,
                           uint64_t) {
    return _Submit(name, out, item, {});
}

uint32_t CEventQueue::PostTimer(const wchar_t* name, QueueHandle* out, uint32_t periodMs,
                                uint32_t repeatCount, EqWorkItem* item, uint64_t, uint64_t, uint64_t) {
    const bool isValid = periodMs != 0 && repeatCount != 0;
    return _Submit(name, out, isValid ? item : nullptr, {nullptr, periodMs, repeatCount});
}

uint32_t CEventQueue::PostSerial(CSerialExecution& serial, const wchar_t* name, QueueHandle* out,
                                 EqWorkItem* item) {
    return _Submit(name, out, item, {&serial, 0, 0});
}

uint32_t CEventQueue::_Submit(const wchar_t* name, QueueHandle* out, EqWorkItem* work,
                              const Schedule& schedule) {
    if (out != nullptr) *out = nullptr;
    if (work == nullptr) return ERROR_INVALID_PARAMETER;
    try {
        ItemList fresh;
        fresh.emplace_back(work, name);
        const auto item = fresh.begin();
        item->serial = schedule.serial;
        item->periodMs = schedule.periodMs;
        item->firingsLeft = schedule.firings;

        Lock lock(m_lock);
        const bool isEnding = schedule.serial != nullptr && schedule.serial->ending;
        if (m_state == State::Stopped || isEnding) return ERROR_INVALID_STATE;
        if (out != nullptr) *out = item->handle = m_handles.Add(item);
        CSignal* const signal = _Enqueue(fresh, item);
        lock.unlock();
        if (signal != nullptr) signal->WakeOne();
        return ERROR_SUCCESS;
    } catch (const std::bad_alloc&) {
        return ERROR_OUTOFMEMORY;
    }
}

/// Returns whom to wake, outside the lock; null for nobody.
CSignal* CEventQueue::_Enqueue(ItemList& fresh, ItemRef item) {
    if (item->periodMs != 0) {
        item->due = Clock::now() + std::chrono::milliseconds(item->periodMs);
        return _Arm(fresh, item) ? &m_alarm : nullptr;
    }
    if (CSerialExecution* const serial = item->serial) {
        if (serial->hasTurn) {
            item->state = ItemState::Behind;
            serial->behind.splice(serial->behind.end(), fresh, item);
            return nullptr;
        }
        serial->hasTurn = true;
    }
    item->state = ItemState::Ready;
    m_ready.splice(m_ready.end(), fresh, item);
    return _TakeIdle();
}

uint32_t CEventQueue::Wait(QueueHandle handle, uint32_t timeoutMs) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    Lock lock(m_lock);
    const ItemRef* const found = m_handles.Find(handle);
    if (found == nullptr) return ERROR_INVALID_HANDLE;
    const auto item = *found;
    if (_WaitsForItself(*item)) return ERROR_POSSIBLE_DEADLOCK;

    ++item->waiters;
    while (item->state != ItemState::Ended) {
        const DWORD leftMs = timeoutMs != kWaitForever ? MsUntil(deadline, Clock::now()) : INFINITE;
        if (leftMs == 0) break;
        item->ended.Wait(m_lock, leftMs);
    }
    --item->waiters;
    const bool hasEnded = item->state == ItemState::Ended;
    _ForgetIfUnused(item);
    return hasEnded ? ERROR_SUCCESS : WAIT_TIMEOUT;
}

uint32_t CEventQueue::Cancel(QueueHandle handle) {
    Lock lock(m_lock);
    const ItemRef* const found = m_handles.Find(handle);
    if (found == nullptr) return ERROR_INVALID_HANDLE;
    const auto item = *found;
    item->firingsLeft = 0;
    if (item->state != ItemState::Active && item->state != ItemState::Ended) _Drop(item);
    return ERROR_SUCCESS;
}

uint32_t CEventQueue::CloseItem(QueueHandle handle) {
    Lock lock(m_lock);
    const ItemRef* const found = m_handles.Find(handle);
    if (found == nullptr) return ERROR_INVALID_HANDLE;
    const auto item = *found;
    m_handles.Remove(handle);
    item->handle = nullptr;
    _ForgetIfUnused(item);
    return ERROR_SUCCESS;
}

uint32_t CEventQueue::CreateSerialExecution(ISerialExecution** out) {
    if (out == nullptr) return ERROR_INVALID_PARAMETER;
    *out = nullptr;
    try {
        Lock lock(m_lock);
        *out = &m_serials.emplace_back(*this);
        return ERROR_SUCCESS;
    } catch (const std::bad_alloc&) {
        return ERROR_OUTOFMEMORY;
    }
}

void CEventQueue::DestroySerialExecution(ISerialExecution* serial) {
    TRACE_SCOPE("CEventQueue::DestroySerialExecution");
    Lock lock(m_lock);
    const auto found = std::find_if(m_serials.begin(), m_serials.end(),
                                    [serial](const CSerialExecution& known) { return &known == serial; });
    if (found == m_serials.end() || found->ending) {
        lock.unlock();
        TRACE_LINE(trace::kWarning, L"There is no such serial execution");
        return;
    }
    found->ending = true;
    const auto turn = std::find_if(m_ready.begin(), m_ready.end(),
                                   [&](const QueueItem& item) { return item.serial == &*found; });
    if (turn != m_ready.end()) _Drop(turn);
    while (!found->behind.empty())
        _Drop(found->behind.begin());

    const uint32_t ownCount = _CountActiveHere(*found);
    while (found->activeCount > ownCount)
        found->quiet.Wait(m_lock);
    if (ownCount != 0) {
        found->abandoned = true;
    } else {
        m_serials.erase(found);
    }
}

uint32_t CEventQueue::_CountActiveHere(const CSerialExecution& serial) const {
    const DWORD current = GetCurrentThreadId();
    return static_cast<uint32_t>(std::count_if(m_active.begin(), m_active.end(), [&](const QueueItem& item) {
        return item.serial == &serial && item.thread == current;
    }));
}

bool CEventQueue::_WaitsForItself(const QueueItem& item) const {
    if (item.state == ItemState::Active) return item.thread == GetCurrentThreadId();
    return item.state == ItemState::Behind && _CountActiveHere(*item.serial) != 0;
}

}  // namespace host
