// How the queue's items run and end; the operations that callers see are in event_queue.cpp.
#include <algorithm>
#include <exception>
#include <new>
#include <utility>

#include "frame/trace.h"
#include "framework/event_queue.h"

namespace host {

using optimizer::CriticalSectionGuard;
using optimizer::CSignal;

namespace trace = optimizer::trace;

namespace {

constexpr DWORD kStopPatienceMs = 3000;

void TraceEscaped(const QueueItem& item, const char* what) {
    TRACE_SCOPE("CEventQueue::Execute");
    TRACE_LINE(trace::kError, L"An exception escaped from item %s: %S", item.label, what);
}

template <class Call>
void CallGuarded(const QueueItem& item, Call call) {
    try {
        call(*item.work);
    } catch (const std::exception& exception) {
        TraceEscaped(item, exception.what());
    } catch (...) {
        TraceEscaped(item, "unknown");
    }
}

void ExecuteItem(const QueueItem& item) noexcept {
    CallGuarded(item, [](EqWorkItem& work) { work.Execute(); });
}

void DisposeOfItem(const QueueItem& item) noexcept {
    CallGuarded(item, [](EqWorkItem& work) { work.Dispose(); });
}

}  // namespace

uint32_t CEventQueue::Start(uint32_t threadCount) {
    TRACE_SCOPE("CEventQueue::Start");
    if (threadCount == 0 || threadCount > kMostThreads) return ERROR_INVALID_PARAMETER;
    {
        Lock lock(m_lock);
        if (m_state == State::Running) return ERROR_ALREADY_EXISTS;
        if (m_threads.IsOwn()) return ERROR_INVALID_STATE;
    }
    CriticalSectionGuard life(m_lifeLock);
    {
        Lock lock(m_lock);
        if (m_state == State::Running) return ERROR_ALREADY_EXISTS;
    }
    m_threads.Join();  // those of a Stop that couldn't wait for them

    Lock lock(m_lock);
    m_threads.Clear();
    const State before = std::exchange(m_state, State::Running);
    ++m_generation;
    const uint32_t error = _StartThreads(threadCount);
    if (error == ERROR_SUCCESS) return error;

    m_state = before;
    _WakeAll();
    lock.unlock();
    m_threads.Join();
    lock.lock();
    m_threads.Clear();
    lock.unlock();
    TRACE_LINE(trace::kError, L"The threads can't be started. Error: %u", error);
    return error;
}

uint32_t CEventQueue::_StartThreads(uint32_t threadCount) {
    try {
        m_idle.reserve(kMostThreads);  // so that a thread needs no memory to wait
        uint32_t error = m_threads.Add([this] { _RunTimers(); });
        for (uint32_t i = 0; i < threadCount && error == ERROR_SUCCESS; ++i) {
            error = m_threads.Add([this, i] { _RunItems(m_work[i]); });
        }
        return error;
    } catch (const std::bad_alloc&) {
        return ERROR_OUTOFMEMORY;
    }
}

uint32_t CEventQueue::Stop() {
    TRACE_SCOPE("CEventQueue::Stop");
    Lock lock(m_lock);
    const uint64_t generation = m_generation;
    m_state = State::Stopped;
    _WakeAll();
    _DropAll();
    if (m_threads.IsOwn()) return ERROR_SUCCESS;
    lock.unlock();

    CriticalSectionGuard life(m_lifeLock);
    if (m_generation != generation)
        return ERROR_SUCCESS;  // a Start came between, and has waited for the threads
    if (!m_threads.Join(kStopPatienceMs)) {
        TRACE_LINE(trace::kWarning, L"An item runs on; it is its owner's to end");
        return WAIT_TIMEOUT;
    }
    lock.lock();
    m_threads.Clear();
    return ERROR_SUCCESS;
}

void CEventQueue::_DropAll() {
    while (m_state == State::Stopped) {
        const auto item = _FirstWaiting();
        if (!item) return;
        _Drop(*item);
    }
}

std::optional<ItemRef> CEventQueue::_FirstWaiting() {
    if (!m_ready.empty()) return m_ready.begin();
    if (!m_armed.empty()) return m_armed.begin();
    for (CSerialExecution& serial : m_serials) {
        if (!serial.behind.empty()) return serial.behind.begin();
    }
    return std::nullopt;
}

void CEventQueue::_RunItems(CSignal& work) {
    Lock lock(m_lock);
    while (m_state == State::Running) {
        if (!m_ready.empty()) {
            _RunOne(m_ready.begin());
            continue;
        }
        m_idle.push_back(&work);
        work.Wait(m_lock);
        std::erase(m_idle, &work);  // still there unless _TakeIdle took it
    }
}

/// Whom to wake for an item that is ready now; null when every thread is awake or about to be, for each looks
/// for items before it waits. The thread that ran last goes first: its caches and its processor are warm.
CSignal* CEventQueue::_TakeIdle() {
    if (m_idle.empty()) return nullptr;
    CSignal* const work = m_idle.back();
    m_idle.pop_back();
    return work;
}

void CEventQueue::_WakeAll() {
    for (CSignal* const work : m_idle)
        work->WakeOne();
    m_alarm.WakeAll();
}

/// Gives the lock up while it runs the item.
void CEventQueue::_RunOne(ItemRef item) {
    _Activate(item);
    m_lock.unlock();
    ExecuteItem(*item);
    if (item->periodMs != 0) {
        m_lock.lock();
        if (_FiresAgain(item)) return;
        m_lock.unlock();
    }
    DisposeOfItem(*item);
    m_lock.lock();
    // Nobody needs waking for the item that has its turn now: this thread looks for work next.
    if (item->serial != nullptr) _PassTurn(*item->serial);
    _End(item);
}

bool CEventQueue::_FiresAgain(ItemRef item) {
    if (item->firingsLeft != kRepeatForever && item->firingsLeft != 0) --item->firingsLeft;
    if (item->firingsLeft == 0 || m_state != State::Running) return false;
    item->thread = 0;
    item->due = NextDue(item->due, item->periodMs, Clock::now());
    if (_Arm(m_active, item)) m_alarm.WakeOne();
    return true;
}

/// Whether the item is now the first one due.
bool CEventQueue::_Arm(ItemList& from, ItemRef item) {
    auto position = m_armed.end();
    while (position != m_armed.begin() && std::prev(position)->due > item->due)
        --position;
    m_armed.splice(position, from, item);
    item->state = ItemState::Armed;
    return item == m_armed.begin();
}

void CEventQueue::_RunTimers() {
    Lock lock(m_lock);
    while (m_state == State::Running) {
        const DWORD leftMs = m_armed.empty() ? INFINITE : MsUntil(m_armed.front().due, Clock::now());
        if (leftMs != 0) {
            m_alarm.Wait(m_lock, leftMs);
            continue;
        }
        _Move(m_armed.begin(), ItemState::Ready);
        if (CSignal* const work = _TakeIdle()) work->WakeOne();
    }
}

ItemList& CEventQueue::_ListOf(const QueueItem& item) {
    switch (item.state) {
        case ItemState::Ready:
            return m_ready;
        case ItemState::Behind:
            return item.serial->behind;
        case ItemState::Armed:
            return m_armed;
        case ItemState::Active:
            return m_active;
        case ItemState::Ended:
            break;
    }
    return m_ended;
}

void CEventQueue::_Move(ItemRef item, ItemState state) {
    ItemList& from = _ListOf(*item);
    item->state = state;
    ItemList& to = _ListOf(*item);
    to.splice(to.end(), from, item);
}

void CEventQueue::_Activate(ItemRef item) {
    _Move(item, ItemState::Active);
    item->thread = GetCurrentThreadId();
    if (item->serial != nullptr) ++item->serial->activeCount;
}

/// For an item that waits. Gives the lock up while it disposes of it.
void CEventQueue::_Drop(ItemRef item) {
    const bool hadTurn = item->serial != nullptr && item->state == ItemState::Ready;
    _Activate(item);
    CSignal* const work = hadTurn && _PassTurn(*item->serial) ? _TakeIdle() : nullptr;
    if (work != nullptr) work->WakeOne();
    m_lock.unlock();
    DisposeOfItem(*item);
    m_lock.lock();
    _End(item);
}

/// Whether another item has the turn now.
bool CEventQueue::_PassTurn(CSerialExecution& serial) {
    serial.hasTurn = !serial.ending && !serial.behind.empty();
    if (serial.hasTurn) _Move(serial.behind.begin(), ItemState::Ready);
    return serial.hasTurn;
}

void CEventQueue::_End(ItemRef item) {
    CSerialExecution* const serial = std::exchange(item->serial, nullptr);
    item->thread = 0;
    _Move(item, ItemState::Ended);
    if (item->waiters != 0) item->ended.WakeAll();
    _ForgetIfUnused(item);
    if (serial == nullptr) return;

    --serial->activeCount;
    if (serial->abandoned && serial->activeCount == 0) {
        std::erase_if(m_serials, [serial](const CSerialExecution& known) { return &known == serial; });
    } else if (serial->ending) {
        serial->quiet.WakeAll();
    }
}

void CEventQueue::_ForgetIfUnused(ItemRef item) {
    if (item->state == ItemState::Ended && item->handle == nullptr && item->waiters == 0) m_ended.erase(item);
}

}  // namespace host
