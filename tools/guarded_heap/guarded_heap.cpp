#include "guarded_heap/guarded_heap.h"

#include <atomic>
#include <cstdint>
#include <cstring>

#include <windows.h>

// Nothing in here may allocate, nor have a constructor: the C library's start-up takes memory before those
// run.
namespace guarded {

namespace {

constexpr size_t kPageBytes = 4096;
constexpr size_t kRegionPages = size_t{1} << 18;
constexpr size_t kRegionBytes = kRegionPages * kPageBytes;  // 1 GB of addresses
constexpr size_t kMostRegions = 64;
constexpr size_t kLeastAlignment = 8;
constexpr uint8_t kFresh = 0xCD;  // so that nobody lives on zeros that were never written
constexpr uint8_t kSlack = 0xFD;
constexpr DWORD kHeapCorruption = 0xC0000374;  // STATUS_HEAP_CORRUPTION

/// A span of addresses, handed out from its start to its end. Freed pages stay out of reach until all of the
/// region is freed; the one that waits for longest is then used again.
struct Region {
    uint8_t* start;
    uint32_t* sizes;  // of the allocation that begins in a page, plus one; 0 where none does
    size_t usedPages;
    std::atomic<size_t> liveCount;
    uint64_t filledAt;
};

SRWLOCK g_lock = SRWLOCK_INIT;  // over the regions, not over the work of the system
constinit Region g_regions[kMostRegions] = {};
constinit std::atomic<size_t> g_count = 0;
size_t g_current = 0;
uint64_t g_fillings = 0;

size_t PagesFor(size_t sizeBytes) {
    return (sizeBytes + kPageBytes - 1) / kPageBytes;
}

bool Reserve(Region& region) {
    constexpr size_t kTableBytes = kRegionPages * sizeof(uint32_t);
    region.start = static_cast<uint8_t*>(VirtualAlloc(nullptr, kRegionBytes, MEM_RESERVE, PAGE_NOACCESS));
    region.sizes =
        static_cast<uint32_t*>(VirtualAlloc(nullptr, kTableBytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
    return region.start != nullptr && region.sizes != nullptr;
}

/// A region with nothing in it: a new one, or of those that were emptied the one filled first.
bool NextRegion() {
    if (g_count != 0) g_regions[g_current].filledAt = ++g_fillings;
    if (g_count < kMostRegions) {
        if (!Reserve(g_regions[g_count])) return false;
        g_current = g_count++;
        return true;
    }
    size_t oldest = kMostRegions;
    for (size_t i = 0; i < kMostRegions; ++i) {
        const bool isOlder = oldest == kMostRegions || g_regions[i].filledAt < g_regions[oldest].filledAt;
        if (g_regions[i].liveCount == 0 && isOlder) oldest = i;
    }
    if (oldest == kMostRegions) return false;
    g_regions[oldest].usedPages = 0;
    g_current = oldest;
    return true;
}

/// Takes pages and one more behind them, which stays out of reach.
uint8_t* TakePages(size_t pages) {
    if (pages >= kRegionPages) return nullptr;
    if (g_count == 0 || g_regions[g_current].usedPages + pages + 1 > kRegionPages) {
        if (!NextRegion()) return nullptr;
    }
    Region& region = g_regions[g_current];
    uint8_t* const start = region.start + region.usedPages * kPageBytes;
    region.usedPages += pages + 1;
    ++region.liveCount;
    return start;
}

/// Regions are only ever added, so that a look at them needs no lock once the pointer is known to be of one.
Region* FindRegion(const void* memory) {
    const auto* const address = static_cast<const uint8_t*>(memory);
    for (size_t i = 0; i < g_count; ++i) {
        Region& region = g_regions[i];
        if (address >= region.start && address < region.start + kRegionBytes) return &region;
    }
    return nullptr;
}

uint32_t& SizeEntry(const Region& region, const void* memory) {
    return region.sizes[static_cast<size_t>(static_cast<const uint8_t*>(memory) - region.start) / kPageBytes];
}

}  // namespace

void* Allocate(size_t sizeBytes, size_t alignment) {
    if (alignment < kLeastAlignment) alignment = kLeastAlignment;
    if (sizeBytes > kRegionBytes / 2 || alignment > kPageBytes) return nullptr;
    const size_t roundedBytes = (sizeBytes + alignment - 1) / alignment * alignment;
    const size_t pages = PagesFor(roundedBytes != 0 ? roundedBytes : 1);
    AcquireSRWLockExclusive(&g_lock);
    uint8_t* const start = TakePages(pages);
    ReleaseSRWLockExclusive(&g_lock);
    if (start == nullptr) return nullptr;
    Region& region = *FindRegion(start);
    if (VirtualAlloc(start, pages * kPageBytes, MEM_COMMIT, PAGE_READWRITE) == nullptr) {
        --region.liveCount;
        return nullptr;
    }
    // Of no bytes: the address of the page that may not be touched would be another allocation's, or none.
    uint8_t* const memory = start + pages * kPageBytes - (roundedBytes != 0 ? roundedBytes : alignment);
    std::memset(memory, kFresh, sizeBytes);
    std::memset(memory + sizeBytes, kSlack,
                static_cast<size_t>(start + pages * kPageBytes - memory) - sizeBytes);
    SizeEntry(region, memory) = static_cast<uint32_t>(sizeBytes) + 1;
    return memory;
}

void Free(void* memory) {
    if (memory == nullptr) return;
    Region* const region = FindRegion(memory);
    if (region == nullptr) Fail("memory that isn't of this module's heap is freed");
    const uint32_t entry = std::atomic_ref(SizeEntry(*region, memory)).exchange(0);
    if (entry == 0) Fail("memory is freed twice, or was never allocated");
    auto* const bytes = static_cast<uint8_t*>(memory);
    const size_t sizeBytes = entry - 1;
    auto* const end = reinterpret_cast<uint8_t*>(
        (reinterpret_cast<uintptr_t>(bytes) + (sizeBytes != 0 ? sizeBytes : 1) + kPageBytes - 1) /
        kPageBytes * kPageBytes);
    for (const uint8_t* slack = bytes + sizeBytes; slack < end; ++slack) {
        if (*slack != kSlack) Fail("memory was written behind its end");
    }
    auto* const start =
        reinterpret_cast<uint8_t*>(reinterpret_cast<uintptr_t>(bytes) / kPageBytes * kPageBytes);
    if (!VirtualFree(start, static_cast<size_t>(end - start), MEM_DECOMMIT))
        Fail("memory can't be given back");
    --region->liveCount;
}

bool IsOwn(const void* memory) {
    return FindRegion(memory) != nullptr;
}

size_t SizeOf(const void* memory) {
    const Region* const region = FindRegion(memory);
    const uint32_t entry = region != nullptr ? SizeEntry(*region, memory) : 0;
    if (entry == 0) Fail("memory is used that was freed, or never allocated");
    return entry - 1;
}

void Fail(const char* why) {
    const HANDLE errors = GetStdHandle(STD_ERROR_HANDLE);
    DWORD written = 0;
    WriteFile(errors, "guarded heap: ", 14, &written, nullptr);
    WriteFile(errors, why, static_cast<DWORD>(std::strlen(why)), &written, nullptr);
    WriteFile(errors, "\n", 1, &written, nullptr);
    RaiseException(kHeapCorruption, EXCEPTION_NONCONTINUABLE, 0, nullptr);
    TerminateProcess(GetCurrentProcess(), kHeapCorruption);
    for (;;) {
    }
}

}  // namespace guarded
