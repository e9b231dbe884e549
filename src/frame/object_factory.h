#pragma once

#include <cstddef>
#include <new>

#include "border/plugin.h"

namespace optimizer {

/// What the creation of a component traces.
struct CreationTraces {
    const wchar_t* created;   // also when the memory was short
    const wchar_t* asked;     // whether or not the object has the interface
    const wchar_t* notFound;  // the object lacks the interface
};

/// One row of a library's component table: how a component is made by its name, and how it ends.
struct ComponentEntry {
    const wchar_t* name;
    /// Null when the memory is short.
    IVxBaseInterface* (*create)();
    /// Ends an object that didn't answer for the identifier asked for.
    void (*discard)(IVxBaseInterface* object);
    /// Ends an object for VxDestroyObject; never gets null.
    void (*destroy)(void* object);
    /// Null for most.
    const CreationTraces* traces = nullptr;
};

/// The row, whose component's creation is traced.
constexpr ComponentEntry Traced(ComponentEntry entry, const CreationTraces& traces) noexcept {
    entry.traces = &traces;
    return entry;
}

/// Makes a component of the table. The names' case doesn't matter. 13 (ERROR_INVALID_DATA) for null
/// arguments, 14 (ERROR_OUTOFMEMORY), or 1168 (ERROR_NOT_FOUND) for a name that isn't there or an object that
/// lacks the interface.
/// `*out` is null on every failure.
uint32_t CreateComponent(const ComponentEntry* table, size_t count, const wchar_t* name,
                         const Identifier* iid, void** out);

/// Ends a component of the table. An unknown name or a null object does nothing.
void DestroyComponent(const ComponentEntry* table, size_t count, const wchar_t* name, void* object);

/// Row for a component whose object ends through its destructor. `Main` is its first base, for a class that
/// has IVxBaseInterface more than once.
template <class Class, class Main = Class>
constexpr ComponentEntry OwnedComponent(const wchar_t* name) noexcept {
    return {name, []() -> IVxBaseInterface* { return static_cast<Main*>(new (std::nothrow) Class); },
            [](IVxBaseInterface* object) { delete static_cast<Class*>(static_cast<Main*>(object)); },
            [](void* object) {
                delete static_cast<Class*>(static_cast<Main*>(static_cast<IVxBaseInterface*>(object)));
            }};
}

/// Row for a component whose memory is freed without a destructor: it must have let go of everything in
/// UnInit, and IVxBaseInterface must be its first base. Hosts rely on that order of events, so no destructor
/// runs here.
template <class Class, class Main = Class>
constexpr ComponentEntry RawComponent(const wchar_t* name) noexcept {
    return {name, []() -> IVxBaseInterface* { return static_cast<Main*>(new (std::nothrow) Class); },
            [](IVxBaseInterface* object) { delete static_cast<Class*>(static_cast<Main*>(object)); },
            [](void* object) { ::operator delete(object); }};
}

/// The interface query of a component that answers for IVxBaseInterface, IServPlugin and its own interface.
/// The answer for all of them is the first base's pointer.
template <class Interface, class Class>
void* AnswerFor(Class* object, const Identifier* iid) {
    if (iid == nullptr) return nullptr;
    const bool known = *iid == IVxBaseInterface::kIdentifier || *iid == IServPlugin::kIdentifier ||
                       *iid == Interface::kIdentifier;
    return known ? static_cast<void*>(static_cast<Interface*>(object)) : nullptr;
}

}  // namespace optimizer
