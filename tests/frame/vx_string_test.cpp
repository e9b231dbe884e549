// The string that crosses the border: its layout is a format, so that it is read and written here byte by
// byte.
#include "frame/vx_string.h"

#include <cstring>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <windows.h>

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
    const std::pair<size_t, uint64_t> kCases[] = {{0, 64}, {64, 64}, {65, 128}, {5000, 5056}};
    String grown;
    for (const auto& [length, capacity] : kCases) {
        const std::wstring text(length, L'x');
        CheckLayout(String(text.c_str()), text, capacity, 64, 1, 1);
        grown.Assign(text.c_str());
        CheckLayout(grown, text, capacity, 64, 1, 1);
    }
}

TEST(VxPathString, KeepsAPathInlineAndMovesALongerOneIntact) {
    PathString path;
    CheckLayout(path, L"", 260, 260, 0, 0);
    std::wstring text;
    for (int i = 0; i < 260; ++i)
        text += static_cast<wchar_t>(L'A' + i % 26);
    path.Assign(text.c_str());
    CheckLayout(path, text, 260, 260, 0, 0);
    const PathString copy = path;
    path.Append(L"!");
    CheckLayout(path, text + L"!", 520, 260, 1, 0);
    CheckLayout(copy, text, 260, 260, 0, 0);
}

}  // namespace
}  // namespace vx
