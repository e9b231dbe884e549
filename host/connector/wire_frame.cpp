#include "connector/wire_frame.h"

#include <cstring>

#include <windows.h>

#include "border/connector.h"

namespace host {

bool IsSound(const FrameHeader& header) {
    if (header.magic != FrameHeader::kMagic || header.version != FrameHeader::kVersion) return false;
    if (header.sizeBytes > kMostPayloadBytes) return false;
    if (header.reserved[0] != 0 || header.reserved[1] != 0) return false;
    switch (header.kind) {
        case FrameKind::Request:
            return header.call != 0 && header.status == 0;
        case FrameKind::Post:
            return header.call == 0;
        case FrameKind::Reply:
            return header.call != 0 && (header.status == 0 || header.sizeBytes == sizeof(header.status));
    }
    return false;
}

uint32_t CheckPayload(const void* data, uint32_t sizeBytes) {
    const bool sound = sizeBytes <= kMostPayloadBytes && (data != nullptr || sizeBytes == 0);
    return sound ? ERROR_SUCCESS : ERROR_INVALID_PARAMETER;
}

Frame MakeFrame(const FrameHeader& header, const void* data) {
    const uint32_t sizeBytes = sizeof(header) + header.sizeBytes;
    const auto bytes = std::make_shared_for_overwrite<uint8_t[]>(sizeBytes);
    std::memcpy(bytes.get(), &header, sizeof(header));
    if (header.sizeBytes != 0) std::memcpy(bytes.get() + sizeof(header), data, header.sizeBytes);
    return {bytes, sizeBytes};
}

}  // namespace host
