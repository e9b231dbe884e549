#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace optimizer {

/// The payload of a pipe message: values one behind the other, little-endian, without padding. Both ends use
/// it, with up to 1024 bytes in the object itself. One thread at a time.
///
/// There is no error to look at. A read past the end leaves its target alone and spoils every later read, so
/// that a receiver which passes zeroed targets sees a short message as zero values and empty strings.
class CByteStream {
public:
    static constexpr size_t kInlineBytes = 1024;

    /// An empty stream to write to. One that may not grow loses what goes beyond the inline bytes.
    explicit CByteStream(bool mayGrow = true) : m_mayGrow(mayGrow) {}
    /// A copy of a received payload, to read from.
    CByteStream(const void* payload, size_t sizeBytes);
    ~CByteStream();
    CByteStream(const CByteStream&) = delete;
    CByteStream& operator=(const CByteStream&) = delete;

    void Write(const void* bytes, size_t sizeBytes);
    void WriteUint32(uint32_t value) { Write(&value, sizeof value); }
    /// A count of characters with the final NUL, then the characters; null is written as an empty string.
    void WriteString(const wchar_t* text);
    void WriteNarrowString(const char* text);

    /// False, with the target untouched, when the bytes aren't there.
    bool Read(void* target, size_t sizeBytes);
    uint32_t ReadUint32();
    /// What stands before the first NUL; a string that came without one is a string all the same.
    std::wstring ReadString();
    std::string ReadNarrowString();

    const void* Data() const { return m_data; }
    uint32_t SizeBytes() const { return static_cast<uint32_t>(m_written); }

private:
    template <class Character>
    void _WriteString(const Character* text);
    template <class Character>
    std::basic_string<Character> _ReadString();
    bool _MakeRoom(size_t sizeBytes);
    void _Spoil() { m_read = m_written + 1; }

    std::byte* m_data = m_inline;
    size_t m_capacity = kInlineBytes;
    size_t m_written = 0;
    size_t m_read = 0;
    bool m_mayGrow = true;
    bool m_onHeap = false;
    std::byte m_inline[kInlineBytes];
};

}  // namespace optimizer
