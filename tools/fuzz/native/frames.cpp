// What a client writes to a pipe: only sound frames come out of the reader, each with all its bytes.
#include <cstring>

#include "connector/frame_reader.h"
#include "native/expect.h"
#include "shim/memory_pipe.h"

namespace {

using fuzz::Expect;
using host::CFrameReader;
using host::FrameHeader;

/// The input's messages: two bytes of length, one that says what is made right, then the bytes. Large ones
/// are made of few bytes.
fuzz::MemoryPipe PipeOf(const uint8_t* data, size_t sizeBytes) {
    fuzz::MemoryPipe pipe;
    while (sizeBytes > 3) {
        size_t length = static_cast<size_t>(data[0] | data[1] << 8);
        const uint8_t mend = data[2];
        data += 3, sizeBytes -= 3;
        const size_t taken = length < sizeBytes ? length : sizeBytes;
        std::vector<uint8_t> message(data, data + taken);
        data += taken, sizeBytes -= taken;
        if ((mend & 1) != 0) message.resize(length);
        if ((mend & 2) != 0 && message.size() >= sizeof(FrameHeader)) {
            FrameHeader header;
            std::memcpy(&header, message.data(), sizeof header);
            header.magic = FrameHeader::kMagic;
            header.version = FrameHeader::kVersion;
            header.kind = static_cast<host::FrameKind>(1 + (mend >> 4) % 3);
            if ((mend & 4) != 0) header.sizeBytes = static_cast<uint32_t>(message.size() - sizeof header);
            if ((mend & 8) != 0) header.reserved[0] = header.reserved[1] = header.status = 0;
            if (header.kind == host::FrameKind::Post) header.call = 0;
            std::memcpy(message.data(), &header, sizeof header);
        }
        if (!message.empty()) pipe.messages.push_back(std::move(message));
    }
    return pipe;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t sizeBytes) {
    fuzz::MemoryPipe pipe = PipeOf(data, sizeBytes);
    const std::deque<std::vector<uint8_t>> sent = pipe.messages;
    CFrameReader reader;
    Expect(reader.Open(&pipe) == ERROR_SUCCESS);
    size_t frames = 0;
    while (reader.Next() == CFrameReader::Event::Frame) {
        const FrameHeader header = reader.Header();
        Expect(host::IsSound(header) && frames < sent.size());
        const std::vector<uint8_t>& message = sent[frames++];
        Expect(sizeof header + header.sizeBytes == message.size());
        Expect(std::memcmp(reader.Bytes(), message.data(), message.size()) == 0);
        const host::Frame copy = host::MakeFrame(header, reader.Bytes() + sizeof header);
        Expect(copy.sizeBytes == message.size());
    }
    return fuzz::Count(frames == sent.size());
}
