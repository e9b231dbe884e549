#include "comm/byte_stream.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace optimizer {

CByteStream::CByteStream(const void* payload, size_t sizeBytes) {
    Write(payload, sizeBytes);
}

CByteStream::~CByteStream() {
    if (m_onHeap) std::free(m_data);
}

bool CByteStream::_MakeRoom(size_t sizeBytes) {
    const size_t needed = m_written + sizeBytes;
    if (needed <= m_capacity) return true;
    const size_t capacity = std::max(needed + 1, m_capacity * 2);
    void* const grown = m_mayGrow ? std::realloc(m_onHeap ? m_data : nullptr, capacity) : nullptr;
    if (grown == nullptr) return false;
    if (!m_onHeap) std::memcpy(grown, m_inline, m_written);
    m_data = static_cast<std::byte*>(grown);
    m_capacity = capacity;
    m_onHeap = true;
    return true;
}

void CByteStream::Write(const void* bytes, size_t sizeBytes) {
    if (sizeBytes == 0) return;
    if (!_MakeRoom(sizeBytes)) {
        _Spoil();
        return;
    }
    std::memcpy(m_data + m_written, bytes, sizeBytes);
    m_written += sizeBytes;
}

bool CByteStream::Read(void* target, size_t sizeBytes) {
    if (m_read > m_written || sizeBytes > m_written - m_read) {
        _Spoil();
        return false;
    }
    std::memcpy(target, m_data + m_read, sizeBytes);
    m_read += sizeBytes;
    return true;
}

uint32_t CByteStream::ReadUint32() {
    uint32_t value = 0;
    Read(&value, sizeof value);
    return value;
}

template <class Character>
void CByteStream::_WriteString(const Character* text) {
    constexpr Character kEmpty[] = {0};
    if (text == nullptr) text = kEmpty;
    const size_t count = std::char_traits<Character>::length(text) + 1;
    // One field: either all of it goes in or nothing.
    if (!_MakeRoom(sizeof(uint32_t) + count * sizeof(Character))) {
        _Spoil();
        return;
    }
    WriteUint32(static_cast<uint32_t>(count));
    Write(text, count * sizeof(Character));
}

template <class Character>
std::basic_string<Character> CByteStream::_ReadString() {
    const size_t count = ReadUint32();
    // Nothing is allocated on the word of a count: the characters have to be there.
    if (m_read > m_written || count > (m_written - m_read) / sizeof(Character)) {
        _Spoil();
        return {};
    }
    std::basic_string<Character> text(count, Character());
    Read(text.data(), count * sizeof(Character));
    text.resize(std::min(text.find(Character()), count));
    return text;
}

void CByteStream::WriteString(const wchar_t* text) {
    _WriteString(text);
}

void CByteStream::WriteNarrowString(const char* text) {
    _WriteString(text);
}

std::wstring CByteStream::ReadString() {
    return _ReadString<wchar_t>();
}

std::string CByteStream::ReadNarrowString() {
    return _ReadString<char>();
}

}  // namespace optimizer
