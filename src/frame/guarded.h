#pragma once

#include <cstdint>
#include <new>

namespace optimizer {

/// Runs the body of an operation that another binary calls: no exception may cross the border. Allocation is
/// what fails in there; anything else gives 31 (ERROR_GEN_FAILURE).
template <class Body>
uint32_t Guarded(Body body) noexcept {
    constexpr uint32_t kOutOfMemory = 14;     // ERROR_OUTOFMEMORY
    constexpr uint32_t kGeneralFailure = 31;  // ERROR_GEN_FAILURE
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return kOutOfMemory;
    } catch (...) {
        return kGeneralFailure;
    }
}

}  // namespace optimizer
