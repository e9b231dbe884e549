// The agent's side of the visual effects: it reads and writes those of the session that it runs in.
#pragma once

#include <cstdint>
#include <string>

#include "comm/byte_stream.h"

namespace optimizer {

/// What a command wants; the service's side writes it in front of the command's texts.
enum class VisualEffectsCommand : uint32_t {
    Start = 0,   // parameters
    Revert = 1,  // parameters, revert parameters
    Update = 2,  // current parameters, new parameters, revert parameters
    Read = 3,    // parameters, whose values don't matter
};

/// Carries one command out. The result is what was found before, as JSON; empty for Revert and for a command
/// that isn't known, of which nothing more is read. Read changes nothing and gives what Start would give.
std::string RunVisualEffectsCommand(CByteStream& command);

}  // namespace optimizer
