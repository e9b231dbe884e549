// A payload read by any sequence of reads, and what was read written and read again.
#include <cstring>

#include "comm/byte_stream.h"
#include "native/expect.h"

using fuzz::Expect;
using optimizer::CByteStream;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t sizeBytes) {
    if (sizeBytes == 0) return fuzz::Count(false);
    // Two bits for each read, and the payload behind them.
    const size_t steps = data[0];
    const size_t planBytes = 1 + (steps + 3) / 4;
    if (sizeBytes < planBytes) return fuzz::Count(false);
    CByteStream in(data + planBytes, sizeBytes - planBytes);
    CByteStream out;
    bool isSpoilt = false;
    for (size_t step = 0; step < steps; ++step) {
        switch (data[1 + step / 4] >> (step % 4 * 2) & 3) {
            case 0:
                out.WriteUint32(in.ReadUint32());
                break;
            case 1:
                out.WriteString(in.ReadString().c_str());
                break;
            case 2:
                out.WriteNarrowString(in.ReadNarrowString().c_str());
                break;
            default: {
                uint8_t bytes[24];
                std::memset(bytes, 0xAA, sizeof bytes);
                const bool isRead = in.Read(bytes, sizeof bytes);
                Expect(!(isSpoilt && isRead));
                isSpoilt = !isRead;
                // Left alone where it isn't there.
                if (!isRead) Expect(bytes[0] == 0xAA && bytes[23] == 0xAA);
                out.Write(bytes, sizeof bytes);
            }
        }
    }
    CByteStream again(out.Data(), out.SizeBytes());
    uint8_t last = 0;
    for (uint32_t at = 0; at < out.SizeBytes(); ++at)
        Expect(again.Read(&last, 1));
    Expect(!again.Read(&last, 1));
    return fuzz::Count(!isSpoilt);
}
