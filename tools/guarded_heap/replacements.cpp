// Takes the place of operator new and of the C library's functions in the module that it is linked into; for
// the latter the linker is told to (--wrap, in the build file).
#include <cstring>
#include <malloc.h>
#include <new>

#include "guarded_heap/guarded_heap.h"

namespace {

void* AllocateOrThrow(std::size_t sizeBytes, std::size_t alignment = 8) {
    void* const memory = guarded::Allocate(sizeBytes, alignment);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

}  // namespace

extern "C" {

void* __real_realloc(void* memory, std::size_t sizeBytes);
void __real_free(void* memory);

void* __wrap_malloc(std::size_t sizeBytes) {
    return guarded::Allocate(sizeBytes);
}

void* __wrap_calloc(std::size_t count, std::size_t sizeBytes) {
    std::size_t allBytes = 0;
    if (__builtin_mul_overflow(count, sizeBytes, &allBytes)) return nullptr;
    void* const memory = guarded::Allocate(allBytes);
    if (memory != nullptr) std::memset(memory, 0, allBytes);
    return memory;
}

// Some memory is the C library's own, as what _wcsdup gives; another module's is neither its nor ours.
void __wrap_free(void* memory) {
    if (memory == nullptr || guarded::IsOwn(memory)) {
        guarded::Free(memory);
    } else if (_msize(memory) == static_cast<std::size_t>(-1)) {
        guarded::Fail("memory of another module's heap is freed");
    } else {
        __real_free(memory);
    }
}

void* __wrap_realloc(void* memory, std::size_t sizeBytes) {
    if (memory != nullptr && !guarded::IsOwn(memory)) return __real_realloc(memory, sizeBytes);
    if (memory != nullptr && sizeBytes == 0) {
        guarded::Free(memory);
        return nullptr;
    }
    void* const moved = guarded::Allocate(sizeBytes);
    if (moved == nullptr || memory == nullptr) return moved;
    const std::size_t heldBytes = guarded::SizeOf(memory);
    std::memcpy(moved, memory, heldBytes < sizeBytes ? heldBytes : sizeBytes);
    guarded::Free(memory);
    return moved;
}

}  // extern "C"

void* operator new(std::size_t sizeBytes) {
    return AllocateOrThrow(sizeBytes);
}
void* operator new[](std::size_t sizeBytes) {
    return AllocateOrThrow(sizeBytes);
}
void* operator new(std::size_t sizeBytes, const std::nothrow_t&) noexcept {
    return guarded::Allocate(sizeBytes);
}
void* operator new[](std::size_t sizeBytes, const std::nothrow_t&) noexcept {
    return guarded::Allocate(sizeBytes);
}
void* operator new(std::size_t sizeBytes, std::align_val_t alignment) {
    return AllocateOrThrow(sizeBytes, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t sizeBytes, std::align_val_t alignment) {
    return AllocateOrThrow(sizeBytes, static_cast<std::size_t>(alignment));
}
void operator delete(void* memory) noexcept {
    guarded::Free(memory);
}
void operator delete[](void* memory) noexcept {
    guarded::Free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    guarded::Free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    guarded::Free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    guarded::Free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    guarded::Free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
    guarded::Free(memory);
}
void operator delete[](void* memory, std::align_val_t) noexcept {
    guarded::Free(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    guarded::Free(memory);
}
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept {
    guarded::Free(memory);
}
