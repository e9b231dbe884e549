#pragma once

#include <cstddef>

namespace test_support {

/// Calls an operation by its number in the virtual table, as a caller from another compiler does. The
/// arguments' types must be the operation's own, references as pointers.
template <class Result, class... Arguments>
Result CallSlot(void* object, size_t slot, Arguments... arguments) {
    void* const* const table = *static_cast<void***>(object);
    return reinterpret_cast<Result (*)(void*, Arguments...)>(table[slot])(object, arguments...);
}

}  // namespace test_support
