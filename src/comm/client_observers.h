#pragma once

#include <atomic>
#include <memory>

#include <windows.h>

#include "frame/callback_list.h"
#include "frame/guarded.h"

namespace optimizer {

/// The observers of a client component: of events, and of answers to requests that don't wait.
///
/// Any thread. A component is freed without a destructor, so that its lists are made by the first
/// registration and go with Release; ~ClientObservers is for a component that ends in order.
template <class Events, class Responses>
class ClientObservers final {
public:
    ClientObservers() = default;
    ~ClientObservers() { delete m_lists.load(); }
    ClientObservers(const ClientObservers&) = delete;
    ClientObservers& operator=(const ClientObservers&) = delete;

    /// 0, 14, 87 for null or 183.
    uint32_t AddEvents(Events* observer) { return _Add(&Lists::events, observer); }
    uint32_t AddResponses(Responses* observer) { return _Add(&Lists::responses, observer); }
    /// 0 or 1168.
    uint32_t RemoveEvents(Events* observer) { return _Remove(&Lists::events, observer); }
    uint32_t RemoveResponses(Responses* observer) { return _Remove(&Lists::responses, observer); }

    template <class Notify>
    void NotifyEvents(Notify notify) {
        if (Lists* const lists = m_lists) lists->events.ForEach(notify);
    }
    template <class Notify>
    void NotifyResponses(Notify notify) {
        if (Lists* const lists = m_lists) lists->responses.ForEach(notify);
    }

    /// Frees the lists unless somebody is still there, who expects to hear of the next Start. Nobody may
    /// register meanwhile.
    void Release() {
        Lists* const lists = m_lists;
        if (lists != nullptr && lists->events.IsEmpty() && lists->responses.IsEmpty())
            delete m_lists.exchange(nullptr);
    }

private:
    struct Lists {
        CallbackList<Events*> events;
        CallbackList<Responses*> responses;
    };

    /// Throws std::bad_alloc.
    Lists* _Lists() {
        Lists* lists = m_lists;
        if (lists != nullptr) return lists;
        auto made = std::make_unique<Lists>();
        return m_lists.compare_exchange_strong(lists, made.get()) ? made.release() : lists;
    }
    template <class Observer>
    uint32_t _Add(CallbackList<Observer*> Lists::*list, Observer* observer) {
        if (observer == nullptr) return ERROR_INVALID_PARAMETER;
        return Guarded([&] { return (_Lists()->*list).Add(observer); });
    }
    template <class Observer>
    uint32_t _Remove(CallbackList<Observer*> Lists::*list, Observer* observer) {
        Lists* const lists = m_lists;
        return lists != nullptr ? (lists->*list).Remove(observer, 0) : uint32_t{ERROR_NOT_FOUND};
    }

    std::atomic<Lists*> m_lists = nullptr;
};

}  // namespace optimizer
