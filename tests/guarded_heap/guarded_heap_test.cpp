// That the guarded heap bites: what it is for ends the process.
#include <cstdlib>
#include <memory>
#include <new>

#include <gtest/gtest.h>
#include <windows.h>

namespace {

constexpr int kAccessViolation = static_cast<int>(0xC0000005);
constexpr int kHeapCorruption = static_cast<int>(0xC0000374);

using testing::ExitedWithCode;

/// Keeps the compiler from seeing through what is wrong on purpose.
template <class T>
T* Unseen(T* pointer) {
    T* volatile unseen = pointer;
    return unseen;
}

TEST(GuardedHeap, EndsTheProcessAtTheFirstByteBehindAnAllocation) {
    auto* const memory = new char[40];
    memory[39] = 1;
    EXPECT_EXIT(Unseen(memory)[40] = 1, ExitedWithCode(kAccessViolation), "");
    delete[] memory;
    auto* const fromC = static_cast<char*>(std::malloc(4096));
    fromC[4095] = 1;
    EXPECT_EXIT(Unseen(fromC)[4096] = 1, ExitedWithCode(kAccessViolation), "");
    std::free(fromC);
}

TEST(GuardedHeap, FindsAnOverrunIntoTheLastBytesWhenTheyAreFreed) {
    EXPECT_EXIT(
        {
            auto* const memory = new char[37];
            Unseen(memory)[37] = 1;
            delete[] memory;
        },
        ExitedWithCode(kHeapCorruption), "behind its end");
}

TEST(GuardedHeap, EndsTheProcessAtTheFirstTouchOfFreedMemory) {
    auto* const memory = Unseen(new int(1));
    delete memory;
    // Also after much else has come and gone.
    for (int i = 0; i < 10000; ++i)
        delete Unseen(new int(i));
    EXPECT_EXIT(*Unseen(memory) = 2, ExitedWithCode(kAccessViolation), "");
    EXPECT_EXIT(delete Unseen(memory), ExitedWithCode(kHeapCorruption), "twice");
}

/// What libraries hand to each other goes back to the one that made it.
TEST(GuardedHeap, RefusesTheMemoryOfOthers) {
    void* const others = HeapAlloc(GetProcessHeap(), 0, 8);
    EXPECT_EXIT(::operator delete(others), ExitedWithCode(kHeapCorruption), "isn't of this module's heap");
    HeapFree(GetProcessHeap(), 0, others);
    // The C library's own functions allocate by themselves.
    std::free(_wcsdup(L"text"));
}

TEST(GuardedHeap, KeepsWhatIsMovedAndAligned) {
    auto* memory = static_cast<char*>(std::calloc(3, 1));
    EXPECT_EQ(0, memory[2]);
    memory[2] = 7;
    memory = static_cast<char*>(std::realloc(memory, 5000));
    ASSERT_NE(nullptr, memory);
    EXPECT_EQ(7, memory[2]);
    std::free(memory);
    struct alignas(64) Wide {
        char bytes[64];
    };
    const auto wide = std::make_unique<Wide>();
    EXPECT_EQ(0U, reinterpret_cast<uintptr_t>(wide.get()) % 64);
}

}  // namespace
