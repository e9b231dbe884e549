#pragma once

#include <cstddef>
#include <string>

#include "border/string.h"

namespace vx {

/// The process-wide memory manager of strings: malloc, realloc and free.
IMemMgr* StringMemMgr();

/// The wide string that crosses the border: one pointer to its characters, null when it never held anything.
/// The buffer around them is guarded, and its layout is a format that other libraries read and write.
/// Overwritten guards and failed allocations end the process. No lock: the owner guards it.
class String {
public:
    String() = default;
    explicit String(const wchar_t* text) { Assign(text); }
    String(const String& other) {
        if (other.m_text != nullptr) Assign(other.m_text);
    }
    String& operator=(const String& other) {
        if (this != &other) Assign(other.m_text);
        return *this;
    }
    ~String();

    /// Null empties the string. The string's own pointer does nothing.
    void Assign(const wchar_t* text);
    void Append(const wchar_t* text);

    /// Null when the string has never held anything.
    const wchar_t* Pointer() const { return m_text; }
    const wchar_t* Text() const { return m_text != nullptr ? m_text : L""; }
    uint64_t Length() const;
    uint64_t Capacity() const;

protected:
    /// Starts with a buffer and a control record that lie inside the derived object.
    String(void* buffer, StringControl* control, uint64_t capacity);

private:
    StringControl* _CheckedControl() const;
    void _Reserve(uint64_t length);
    void _Grow(uint64_t capacity);
    void _Store(const wchar_t* text, uint64_t length, uint64_t offset);

    wchar_t* m_text = nullptr;
};
static_assert(sizeof(String) == sizeof(void*));

/// Size of a guarded buffer for `capacity` characters.
constexpr uint64_t StringBufferSize(uint64_t capacity) {
    return capacity * 2 + 22;
}

/// A string made for a path: up to 260 characters need no allocation.
class PathString final : public String {
public:
    static constexpr uint64_t kInlineCapacity = 260;

    PathString() : String(m_buffer, &m_control, kInlineCapacity) {}
    explicit PathString(const wchar_t* text) : PathString() { Assign(text); }
    PathString(const PathString& other) : PathString() { Assign(other.Pointer()); }
    PathString& operator=(const PathString& other) {
        if (this != &other) Assign(other.Pointer());
        return *this;
    }

private:
    StringControl m_control;
    alignas(8) std::byte m_buffer[StringBufferSize(kInlineCapacity)];
};

}  // namespace vx
