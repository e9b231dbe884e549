#pragma once

#include <cstdint>
#include <new>
#include <utility>

#include "border/list.h"
#include "frame/deleting_destructor.h"

namespace vx {

/// What stands at the two ends of every entry.
struct ListLink {
    ListLink* next;
    ListLink* previous;
};

template <class T>
struct ListEntry : ListLink {
    explicit ListEntry(T v) : value(std::move(v)) {}
    T value;
};

/// Walks a list of `T`; valid while the list lives. `Interface` is IListEnum or IConstListEnum, `Value` the
/// type that its Current points to.
template <class T, class Interface, class Value>
class BasicListEnum final
    : public optimizer::WithDeletingDestructor<BasicListEnum<T, Interface, Value>, Interface> {
public:
    explicit BasicListEnum(ListLink* sentinel) : m_sentinel(sentinel), m_current(sentinel->next) {}

    bool HasCurrent() override { return m_current != m_sentinel; }
    void* MoveNext() override {
        ListLink* const left = m_current;
        m_current = left->next;
        return left;
    }
    Value* Current() override { return &static_cast<ListEntry<T>*>(m_current)->value; }
    void Release() override { this->DeletingDestructor(1); }
    void* Reset() override { return m_current = m_sentinel->next; }

private:
    ListLink* m_sentinel;
    ListLink* m_current;
};

template <class T, class Shown = T>
using ListEnum = BasicListEnum<T, IListEnum<Shown>, Shown>;
template <class T, class Shown = T>
using ConstListEnum = BasicListEnum<T, IConstListEnum<Shown>, const Shown>;

/// Calls `visit` for each value, the first one first; false when the memory is too short to walk the list.
template <class T, class Visit>
bool ForEach(IList<T>& list, Visit visit) {
    IListEnum<T>* const walk = list.CreateEnum();
    if (walk == nullptr) return false;
    for (; walk->HasCurrent(); walk->MoveNext())
        visit(*walk->Current());
    walk->Release();
    return true;
}

/// A doubly linked list with a sentinel. No lock: the owner guards it.
///
/// `Shown` is what the other side of the border sees of its values: `T` itself, or an interface that `T`
/// implements. Every value that is put in is a `T` then.
template <class T, class Shown = T>
class List final : public IList<Shown> {
public:
    List() = default;
    ~List() { _Clear(); }
    List(const List&) = delete;
    List& operator=(const List&) = delete;

    uint32_t PushBack(const Shown& value) override { return _InsertBefore(&m_sentinel, value); }
    uint32_t PushFront(const Shown& value) override { return _InsertBefore(m_sentinel.next, value); }
    const Shown* ConstBack() override { return _ValueOf(m_sentinel.previous); }
    Shown* Back() override { return _ValueOf(m_sentinel.previous); }
    uint32_t GetBack(Shown* out) override { return _Copy(m_sentinel.previous, out); }
    const Shown* ConstFront() override { return _ValueOf(m_sentinel.next); }
    Shown* Front() override { return _ValueOf(m_sentinel.next); }
    uint32_t GetFront(Shown* out) override { return _Copy(m_sentinel.next, out); }

    /// Removes the entry that the enumerator stands on and moves it to the next; nothing at the end.
    void Erase(IListEnum<Shown>* enumerator) override {
        if (enumerator == nullptr || !enumerator->HasCurrent()) return;
        auto* const entry = static_cast<ListEntry<T>*>(static_cast<ListLink*>(enumerator->MoveNext()));
        entry->previous->next = entry->next;
        entry->next->previous = entry->previous;
        --m_count;
        delete entry;
    }

    IConstListEnum<Shown>* CreateConstEnum() override {
        return new (std::nothrow) ConstListEnum<T, Shown>(&m_sentinel);
    }
    IListEnum<Shown>* CreateEnum() override { return new (std::nothrow) ListEnum<T, Shown>(&m_sentinel); }
    void Clear() override { _Clear(); }
    uint64_t GetCount() override { return m_count; }

private:
    static constexpr uint32_t kNotFound = 1168;   // ERROR_NOT_FOUND
    static constexpr uint32_t kOutOfMemory = 14;  // ERROR_OUTOFMEMORY

    T* _ValueOf(ListLink* link) {
        return link != &m_sentinel ? &static_cast<ListEntry<T>*>(link)->value : nullptr;
    }

    uint32_t _Copy(ListLink* link, Shown* out) {
        const T* const value = _ValueOf(link);
        if (value == nullptr) return kNotFound;
        *static_cast<T*>(out) = *value;
        return 0;
    }

    uint32_t _InsertBefore(ListLink* link, const Shown& value) {
        auto* const entry = new (std::nothrow) ListEntry<T>(static_cast<const T&>(value));
        if (entry == nullptr) return kOutOfMemory;
        entry->next = link;
        entry->previous = link->previous;
        link->previous->next = entry;
        link->previous = entry;
        ++m_count;
        return 0;
    }

    void _Clear() {
        while (m_sentinel.next != &m_sentinel) {
            auto* const entry = static_cast<ListEntry<T>*>(m_sentinel.next);
            m_sentinel.next = entry->next;
            delete entry;
        }
        m_sentinel.previous = &m_sentinel;
        m_count = 0;
    }

    ListLink m_sentinel = {&m_sentinel, &m_sentinel};
    uint64_t m_count = 0;
};

}  // namespace vx
