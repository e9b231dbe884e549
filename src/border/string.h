// Memory manager and control record of the string that crosses the border; the string itself is in
// frame/vx_string.h.
#pragma once

#include <stdint.h>

namespace vx {

struct IMemMgr {
    virtual void* Allocate(uint64_t sizeBytes) = 0;                  // 0
    virtual void* Reallocate(void* memory, uint64_t sizeBytes) = 0;  // 1
    virtual void Free(void* memory) = 0;                             // 2
    virtual void Release() = 0;                                      // 3
};

/// Says how the buffer of a string is managed.
struct StringControl {
    IMemMgr* memory;
    uint64_t length;    // characters in use
    uint64_t capacity;  // characters that fit
    uint64_t growth;    // the capacity grows to a multiple of this
    uint8_t bufferOnHeap;
    uint8_t recordOnHeap;
};

class String;

}  // namespace vx
