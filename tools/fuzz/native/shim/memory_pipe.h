#pragma once

#include <cstdint>
#include <deque>
#include <vector>

namespace fuzz {

/// What the pipe's reader finds: one message after the other, then the pipe's end. A pipe's handle is the
/// address of one of these.
struct MemoryPipe {
    std::deque<std::vector<uint8_t>> messages;
    uint32_t lastBytes = 0;  // of the last read
    bool isCut = false;      // the last read left some of its message
};

}  // namespace fuzz
