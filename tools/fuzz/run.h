#pragma once

#include <cstdint>
#include <string>

#include "tools/fuzz/target.h"

namespace fuzz {

struct RunLimits {
    uint64_t seed = 1;
    uint64_t first = 0;    // number of the first input
    uint64_t inputs = 0;   // 0: until the time is over
    uint32_t seconds = 0;  // 0: until the inputs are through
    std::wstring folder;   // for a guilty input; with the last back-slash
};

struct RunResult {
    uint64_t accepted = 0;
    uint64_t refused = 0;
    double worstMs = 0;
    int64_t grownBytes = 0;  // private memory, from the end of the first tenth on
    bool isSound = true;     // a good request got its good answer to the end
};

/// How much a target may grow, however many inputs it gets: what the heap keeps for itself.
inline constexpr int64_t kMostGrowthBytes = int64_t{8} * 1024 * 1024;

/// Tries inputs one after the other. One that crashes the process, or takes longer than a minute,
/// is written to the folder and ends it with a sentence and the code 3.
RunResult Run(const NamedTarget& named, const RunLimits& limits);

}  // namespace fuzz
