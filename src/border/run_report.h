// What became of the engine's last run.
#pragma once

#include "border/identifier.h"
#include "border/string.h"

/// Answered for by "optimizeral", "optimizerinproc" and "optimizercommclient" beside the engine's own
/// interface; an engine of before doesn't. Any thread.
struct IRunReport {
    static constexpr Identifier kIdentifier = {
        0x7c21f5d9, 0x4b06, 0x4e8a, {0x93, 0x5f, 0x2a, 0xd8, 0x61, 0x0c, 0xe7, 0x94}};

    /// A JSON object: "profile", the name of what was to be carried out; "running", whether it hasn't ended;
    /// "stopped", whether another change cut it short; "problems", an array of what didn't get done, each
    /// with "step", "action", "notes" and the system's "code". 0, 31 (ERROR_GEN_FAILURE) where there is no
    /// engine, or the error of the connection.
    virtual uint32_t GetLastRun(vx::String* report) = 0;  // 0
};
