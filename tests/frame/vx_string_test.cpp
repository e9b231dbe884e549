// The string that crosses the border: its layout is a format, so that it is read and written here byte by
// byte.
#include "frame/vx_string.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include "tests/frame/death.h"

namespace vx {
namespace {

template <class T>
T Field(const void* base, uint64_t offset) {
    T value;
    std::memcpy(&value, static_cast<const std::byte*>(base) + offset, sizeof(value));
    return value;
}

std::byte* BufferOf(const String& string) {
    return reinterpret_cast<std::byte*>(const_cast<wchar_t*>(string.Pointer())) - 16;
}

void CheckLayout(const String& string, const std::wstring& text, uint64_t capacity, uint64_t growth,
                 uint8_t bufferOnHeap, uint8_t recordOnHeap) {
    SCOPED_TRACE("a text of " + std::to_string(text.size()));
    const std::byte* const buffer = BufferOf(string);
    for (const uint64_t guard : {uint64_t{0}, uint64_t{12}, 18 + 2 * capacity})
        EXPECT_EQ(Field<uint32_t>(buffer, guard), 0xABCDU) << guard;
    EXPECT_EQ(std::memcmp(buffer + 16, text.c_str(), (text.size() + 1) * 2), 0);
    EXPECT_EQ(Field<uint16_t>(buffer, 16 + 2 * capacity), 0) << "the capacity's own NUL";
    const void* const record = Field<void*>(buffer, 4);
    EXPECT_EQ(Field<uint64_t>(record, 8), text.size());
    EXPECT_EQ(Field<uint64_t>(record, 16), capacity);
    EXPECT_EQ(Field<uint64_t>(record, 24), growth);
    EXPECT_EQ(Field<uint8_t>(record, 32), bufferOnHeap);
    EXPECT_EQ(Field<uint8_t>(record, 33), recordOnHeap);
}

TEST(VxString, GrowsByWholeStepsIntoTheDocumentedLayout) {
    const std::pair<size_t, uint64_t> kCases[] = {{0, 64},   {1, 64},    {63, 64},   {64, 64},
                                                  {65, 128}, {128, 128}, {129, 192}, {5000, 5056}};
    String grown;
    EXPECT_EQ(grown.Pointer(), nullptr);
    EXPECT_EQ(String(grown).Pointer(), nullptr);
    for (const auto& [length, capacity] : kCases) {
        const std::wstring text(length, L'x');
        CheckLayout(String(text.c_str()), text, capacity, 64, 1, 1);
        grown.Assign(text.c_str());
        CheckLayout(grown, text, capacity, 64, 1, 1);
    }
    const String copy(grown);
    grown.Assign(L"short");
    CheckLayout(grown, L"short", 5056, 64, 1, 1);
    EXPECT_EQ(copy.Length(), 5000U);
}

TEST(VxString, AssignmentsOfNothingAndOfItself) {
    String string;
    string.Assign(nullptr);
    CheckLayout(string, L"", 64, 64, 1, 1);
    string.Assign(L"profile");
    string.Assign(string.Pointer());
    CheckLayout(string, L"profile", 64, 64, 1, 1);
    string.Assign(string.Pointer() + 3);  // overlaps
    CheckLayout(string, L"file", 64, 64, 1, 1);
    for (int i = 0; i < 5; ++i)
        string.Append(string.Pointer());  // the source moves when the buffer does
    EXPECT_EQ(string.Length(), 4U * 32);
    EXPECT_STREQ(string.Text() + 120, L"filefile");
    string.Assign(nullptr);
    CheckLayout(string, L"", 128, 64, 1, 1);
}

TEST(VxPathString, KeepsAPathInlineAndMovesALongerOneIntact) {
    PathString path;
    const auto isInline = [&] {
        return static_cast<size_t>(BufferOf(path) - reinterpret_cast<std::byte*>(&path)) < sizeof(path);
    };
    CheckLayout(path, L"", 260, 260, 0, 0);
    std::wstring text;
    for (int i = 0; i < 260; ++i)
        text += static_cast<wchar_t>(L'A' + i % 26);
    path.Assign(text.c_str());
    EXPECT_TRUE(isInline());
    CheckLayout(path, text, 260, 260, 0, 0);
    const PathString copy = path;
    path.Append(L"!");
    EXPECT_FALSE(isInline());
    CheckLayout(path, text + L"!", 520, 260, 1, 0);
    CheckLayout(copy, text, 260, 260, 0, 0);
}

/// Another library's memory manager, which notes what it is asked for: each call by its first letter.
class OtherManager final : public IMemMgr {
public:
    void* Allocate(uint64_t size) override { return calls += 'A', std::malloc(size); }
    void* Reallocate(void* memory, uint64_t size) override {
        return calls += 'R', canReallocate ? std::realloc(memory, size) : nullptr;
    }
    void Free(void* memory) override { calls += 'F', std::free(memory); }
    void Release() override { calls += '.'; }

    std::string calls;
    bool canReallocate = true;
};

TEST(VxString, AStringOfAnotherLibraryIsHandledByItsOwnManager) {
    const struct {
        const char* what;
        bool bufferOnHeap;
        bool canReallocate;
        size_t newLength;
        uint64_t capacity;
        const char* calls;
    } kCases[] = {
        {"fits", true, true, 10, 10, "F."},
        {"grows", true, true, 11, 14, "RF."},
        {"can't be reallocated", true, false, 15, 21, "RAFF."},
        {"grows out of its own buffer", false, true, 11, 14, "AF."},
        {"stays in its own buffer", false, true, 9, 10, "."},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        OtherManager manager;
        manager.canReallocate = c.canReallocate;
        StringControl control = {&manager, 5, 10, 7, c.bufferOnHeap, 0};
        const StringControl* const record = &control;
        std::byte own[22 + 2 * 10];
        auto* const buffer = c.bufferOnHeap ? static_cast<std::byte*>(std::malloc(sizeof(own))) : own;
        std::memset(buffer, 0, sizeof(own));
        for (const size_t guard : {0, 12, 18 + 2 * 10})
            std::memcpy(buffer + guard, "\xCD\xAB\0", 4);
        std::memcpy(buffer + 4, &record, 8);
        std::memcpy(buffer + 16, L"hello", 12);
        const std::byte* const characters = buffer + 16;
        alignas(String) std::byte object[sizeof(String)];
        std::memcpy(object, &characters, sizeof(characters));
        String& string = *std::launder(reinterpret_cast<String*>(object));

        EXPECT_STREQ(string.Text(), L"hello");
        const std::wstring text = L"hello" + std::wstring(c.newLength - 5, L'o');
        string.Append(text.c_str() + 5);
        CheckLayout(string, text, c.capacity, 7, c.bufferOnHeap || c.capacity > 10, 0);
        string.~String();
        EXPECT_EQ(manager.calls, c.calls);
    }
}

TEST(VxStringDeathTest, AnOverwrittenGuardEndsTheProcess) {
    for (const int offset : {0, 15, 18 + 2 * 64, 18 + 2 * 64 + 3}) {
        String string(L"text");
        std::byte& guard = BufferOf(string)[offset];
        const std::byte intact = std::exchange(guard, std::byte{0x7E});
        EXPECT_ENDS_PROCESS(string.Assign(L"other")) << offset;
        EXPECT_ENDS_PROCESS(string.~String()) << offset;
        guard = intact;
    }
}

}  // namespace
}  // namespace vx
