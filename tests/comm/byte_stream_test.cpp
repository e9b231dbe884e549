// What both ends of every pipe read and write: sizes at the edges, and payloads that lie.
#include "comm/byte_stream.h"

#include <cstring>
#include <vector>

#include <gtest/gtest.h>

namespace optimizer {
namespace {

TEST(ByteStream, CarriesValuesAndStringsAcrossTheInlineEdge) {
    for (const size_t length : {size_t{0}, size_t{508}, size_t{509}, size_t{4096}, size_t{131072}}) {
        SCOPED_TRACE(length);
        const std::wstring wide(length, L'\x263a');
        const std::string narrow(length, 'n');
        CByteStream written;
        written.WriteUint32(7);
        written.WriteString(wide.c_str());
        written.WriteNarrowString(narrow.c_str());
        written.WriteString(nullptr);
        EXPECT_EQ(written.SizeBytes(), 4 + 4 + 2 * (length + 1) + 4 + (length + 1) + 4 + 2);

        CByteStream read(written.Data(), written.SizeBytes());
        EXPECT_EQ(read.ReadUint32(), 7U);
        EXPECT_EQ(read.ReadString(), wide);
        EXPECT_EQ(read.ReadNarrowString(), narrow);
        EXPECT_EQ(read.ReadString(), L"");
        uint8_t more = 9;
        EXPECT_FALSE(read.Read(&more, 1));
        EXPECT_EQ(more, 9) << "the target of a read past the end stays as it is";
    }
}

TEST(ByteStream, BelievesNoCount) {
    struct Case {
        std::vector<uint8_t> payload;
        std::wstring text;
        uint32_t next;
    };
    const Case cases[] = {
        {{}, L"", 0},
        {{1, 0, 0}, L"", 0},                                        // the count itself is cut off
        {{0, 0, 0, 0, 5, 0, 0, 0}, L"", 5},                         // no characters, not even the NUL
        {{2, 0, 0, 0, 'a', 0, 'b', 0, 5, 0, 0, 0}, L"ab", 5},       // no NUL
        {{3, 0, 0, 0, 'a', 0, 0, 0, 'b', 0, 5, 0, 0, 0}, L"a", 5},  // a NUL inside
        {{3, 0, 0, 0, 'a', 0, 0, 0, 'b'}, L"", 0},                  // one byte short
        {{0xFF, 0xFF, 0xFF, 0xFF, 'a', 0, 5, 0, 0, 0}, L"", 0},     // would be eight gigabytes
        {{0x01, 0, 0, 0x80, 'a', 0, 5, 0, 0, 0}, L"", 0},           // doubled it would wrap to two bytes
    };
    for (const Case& lie : cases) {
        CByteStream stream(lie.payload.data(), lie.payload.size());
        EXPECT_EQ(stream.ReadString(), lie.text);
        EXPECT_EQ(stream.ReadUint32(), lie.next);
    }
}

TEST(ByteStream, LosesAWholeFieldThatDoesNotFit) {
    CByteStream fixed(false);
    fixed.WriteUint32(1);
    fixed.WriteString(std::wstring(600, L'x').c_str());
    EXPECT_EQ(fixed.SizeBytes(), 4U);
    EXPECT_EQ(fixed.ReadUint32(), 0U) << "a spoiled stream gives nothing";
}

}  // namespace
}  // namespace optimizer
