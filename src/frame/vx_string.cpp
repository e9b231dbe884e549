#include "frame/vx_string.h"

#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <new>

#include "frame/fatal.h"

namespace vx {

namespace {

using optimizer::EndProcess;

constexpr uint32_t kGuard = 0xABCD;
constexpr uint64_t kControlOffset = 4;
constexpr uint64_t kSecondGuardOffset = 12;
constexpr uint64_t kTextOffset = 16;
constexpr uint64_t kDefaultGrowth = 64;
constexpr uint64_t kLargestCapacity = 0x3FFFFFFFFFFFFFFF;

constexpr uint64_t LastGuardOffset(uint64_t capacity) {
    return 18 + 2 * capacity;
}

template <class T>
constexpr size_t kFieldSize = sizeof(T);  // NOLINT(bugprone-sizeof-expression): a pointer is a field too

// The control pointer and the last guard aren't aligned, so that fields are copied and never dereferenced.
template <class T>
T ReadField(const std::byte* buffer, uint64_t offset) {
    T value;
    std::memcpy(&value, buffer + offset, kFieldSize<T>);
    return value;
}

template <class T>
void WriteField(std::byte* buffer, uint64_t offset, T value) {
    std::memcpy(buffer + offset, &value, kFieldSize<T>);
}

std::byte* BufferOf(wchar_t* text) {
    return reinterpret_cast<std::byte*>(text) - kTextOffset;
}

wchar_t* Arm(std::byte* buffer, StringControl* control, uint64_t capacity) {
    WriteField(buffer, 0, kGuard);
    WriteField(buffer, kControlOffset, control);
    WriteField(buffer, kSecondGuardOffset, kGuard);
    WriteField(buffer, LastGuardOffset(capacity), kGuard);
    WriteField(buffer, kTextOffset + 2 * capacity, wchar_t{0});
    return reinterpret_cast<wchar_t*>(buffer + kTextOffset);
}

class Manager final : public IMemMgr {
public:
    void* Allocate(uint64_t sizeBytes) override { return std::malloc(sizeBytes); }
    void* Reallocate(void* memory, uint64_t sizeBytes) override { return std::realloc(memory, sizeBytes); }
    void Free(void* memory) override { std::free(memory); }
    void Release() override {}
};

}  // namespace

IMemMgr* StringMemMgr() {
    static Manager manager;
    return &manager;
}

String::String(void* buffer, StringControl* control, uint64_t capacity)
    : m_text(Arm(static_cast<std::byte*>(buffer), control, capacity)) {
    *control = {StringMemMgr(), 0, capacity, capacity, 0, 0};
    m_text[0] = 0;
}

String::~String() {
    StringControl* const control = _CheckedControl();
    if (control == nullptr) return;
    IMemMgr* const memory = control->memory;
    if (control->bufferOnHeap != 0) memory->Free(BufferOf(m_text));
    // Not deleted here: the library that made it may have another C library, and its manager knows that one's
    // memory.
    if (control->recordOnHeap != 0) memory->Free(control);
    memory->Release();
}

StringControl* String::_CheckedControl() const {
    if (m_text == nullptr) return nullptr;
    const std::byte* const buffer = BufferOf(m_text);
    auto* const control = ReadField<StringControl*>(buffer, kControlOffset);
    if (control == nullptr) return nullptr;  // another library's buffer without a record: nothing to check
    if (ReadField<uint32_t>(buffer, 0) != kGuard ||
        ReadField<uint32_t>(buffer, kSecondGuardOffset) != kGuard ||
        ReadField<uint32_t>(buffer, LastGuardOffset(control->capacity)) != kGuard) {
        EndProcess();
    }
    return control;
}

uint64_t String::Length() const {
    const StringControl* const control = _CheckedControl();
    return control != nullptr ? control->length : 0;
}

uint64_t String::Capacity() const {
    const StringControl* const control = _CheckedControl();
    return control != nullptr ? control->capacity : 0;
}

void String::Assign(const wchar_t* text) {
    if (text != nullptr && text == m_text) return;
    _Store(text, text != nullptr ? std::wcslen(text) : 0, 0);
}

void String::Append(const wchar_t* text) {
    if (text == nullptr) return;
    const std::wstring copy = text;  // the text may lie in this string's own buffer, which may move
    _Store(copy.c_str(), copy.size(), Length());
}

void String::_Store(const wchar_t* text, uint64_t length, uint64_t offset) {
    // A text inside this string's own buffer would move with it.
    const StringControl* const before = _CheckedControl();
    const bool inside = before != nullptr && text > m_text && text <= m_text + before->capacity;
    if (inside) {
        const std::wstring copy(text, length);
        _Store(copy.c_str(), length, offset);
        return;
    }
    _Reserve(offset + length);
    StringControl* const control = _CheckedControl();
    if (length > 0) std::memcpy(m_text + offset, text, length * sizeof(wchar_t));
    m_text[offset + length] = 0;
    control->length = offset + length;
}

void String::_Reserve(uint64_t length) {
    const StringControl* const control = _CheckedControl();
    if (control != nullptr && length <= control->capacity) return;
    const uint64_t growth = control != nullptr && control->growth != 0 ? control->growth : kDefaultGrowth;
    if (length > kLargestCapacity - growth) EndProcess();
    const uint64_t steps = length == 0 ? 1 : (length + growth - 1) / growth;
    _Grow(steps * growth);
}

void String::_Grow(uint64_t capacity) {
    StringControl* control = _CheckedControl();
    if (control == nullptr) {
        void* const record = StringMemMgr()->Allocate(sizeof(StringControl));
        if (record == nullptr) EndProcess();
        control = new (record) StringControl{StringMemMgr(), 0, 0, kDefaultGrowth, 0, 1};
        if (m_text != nullptr) control->length = control->capacity = std::wcslen(m_text);
    }
    const uint64_t size = StringBufferSize(capacity);
    std::byte* const old = m_text != nullptr ? BufferOf(m_text) : nullptr;
    std::byte* buffer = nullptr;
    if (control->bufferOnHeap != 0) buffer = static_cast<std::byte*>(control->memory->Reallocate(old, size));
    if (buffer == nullptr) {
        buffer = static_cast<std::byte*>(control->memory->Allocate(size));
        if (buffer == nullptr) EndProcess();
        std::memset(buffer, 0, size);
        if (old != nullptr) {
            const uint64_t oldSize = StringBufferSize(control->capacity);
            std::memcpy(buffer, old, size < oldSize ? size : oldSize);
            if (control->bufferOnHeap != 0) control->memory->Free(old);
        }
    }
    m_text = Arm(buffer, control, capacity);
    control->capacity = capacity;
    control->bufferOnHeap = 1;
    if (control->length > capacity) control->length = capacity;
}

}  // namespace vx
