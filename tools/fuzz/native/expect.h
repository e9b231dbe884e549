#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace fuzz {

/// A claim that holds for every input; one for which it doesn't is kept like one that crashes.
inline void Expect(bool holds) {
    if (!holds) std::abort();
}

/// Counts what became of the inputs, and tells it at the end.
struct Outcomes {
    ~Outcomes() {
        std::fprintf(stderr, "accepted: %llu\nrefused: %llu\n", static_cast<unsigned long long>(accepted),
                     static_cast<unsigned long long>(refused));
    }
    uint64_t accepted = 0;
    uint64_t refused = 0;
};
inline Outcomes g_outcomes;

/// The result of every harness.
inline int Count(bool isAccepted) {
    return ++(isAccepted ? g_outcomes.accepted : g_outcomes.refused), 0;
}

}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t sizeBytes);
