// One message on a pipe: a header of 32 bytes, then the payload, in one message of the pipe.
#pragma once

#include <cstdint>
#include <memory>

namespace host {

enum class FrameKind : uint16_t {
    Request = 1,  // from a client that waits for the reply
    Post = 2,     // either way; nobody waits
    Reply = 3,    // to a request
};

/// Little-endian, as it travels. The receive function's record is built in its place, so the two are of one
/// size.
struct FrameHeader {
    static constexpr uint32_t kMagic = 0x4354504F;  // the bytes "OPTC"
    static constexpr uint16_t kVersion = 1;

    uint32_t magic = kMagic;
    uint16_t version = kVersion;
    FrameKind kind = FrameKind::Post;
    uint32_t call = 0;       // tells a client's requests apart, and names the one a reply is for; 0 in a post
    uint32_t id = 0;         // of the message
    uint32_t status = 0;     // of a reply
    uint32_t sizeBytes = 0;  // of the payload
    uint32_t reserved[2] = {};
};
static_assert(sizeof(FrameHeader) == 32);

/// The server's first reply is to a request that no client sends: the client has been admitted, and hears
/// every event from now on. A client numbers its requests from the next on.
inline constexpr uint32_t kWelcomeCall = 1;

/// A frame ready to be written. Copies share the bytes, so that one broadcast can wait in many queues.
struct Frame {
    std::shared_ptr<const uint8_t[]> bytes;
    uint32_t sizeBytes = 0;
};

/// Whether the header may be acted upon. What a reader checks before anything else, and whoever sends: the
/// same in every build.
bool IsSound(const FrameHeader& header);

/// 0, or 87 (ERROR_INVALID_PARAMETER) for a payload that is too large or missing.
[[nodiscard]] uint32_t CheckPayload(const void* data, uint32_t sizeBytes);

/// `header` with its `sizeBytes` of `data` behind it. Throws std::bad_alloc.
Frame MakeFrame(const FrameHeader& header, const void* data);

}  // namespace host
