#pragma once

#include <cstddef>

/// The function in a slot of an object's virtual table, as a caller built by another compiler finds it.
template <class Function>
Function* RawSlot(void* object, size_t slot) {
    return reinterpret_cast<Function*>((*static_cast<void***>(object))[slot]);
}
