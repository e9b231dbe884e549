// The memory of the preset "mingw-guarded". Each library and program has a heap of its own, as it has a C
// library's: what crosses modules is freed by the one that made it.
#pragma once

#include <cstddef>

namespace guarded {

/// Memory that ends right before a page which may not be touched. Its size is rounded up to the alignment, 8
/// at least; an overrun into these last bytes is found when it is freed. Null when there is none. Any thread.
void* Allocate(std::size_t sizeBytes, std::size_t alignment = 8);

/// Nobody can touch the memory from here on. What isn't the start of live memory of this heap ends the
/// process.
void Free(void* memory);

/// Whether the address lies in this heap, live or freed.
bool IsOwn(const void* memory);

/// Of live memory of this heap.
std::size_t SizeOf(const void* memory);

/// Says why on standard error, and ends the process as a damaged heap does.
[[noreturn]] void Fail(const char* why);

}  // namespace guarded
