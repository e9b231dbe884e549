// What became of the engine's last run, and what is noted to be put back.
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

/// What the engine has noted, for those who may not read its files. Answered for as IRunReport is. An engine
/// of before behind a client leaves the question without an answer.
struct INotesReport {
    static constexpr Identifier kIdentifier = {
        0x1fb8a2c4, 0x93d6, 0x47e0, {0x8c, 0x15, 0xe2, 0x6b, 0x40, 0xfa, 0x9d, 0x37}};

    /// A JSON object: "notes", an array with a list for the machine and one for each user who has notes, each
    /// with "key", "state" ("good", "unreadable" or "damaged"), "revert", the number of values by action,
    /// "inForce", the actions without values, and "owners", the account by action; and "unused", an array of
    /// sentences about files that the engine doesn't go by. The codes are those of IRunReport.
    virtual uint32_t GetNotes(vx::String* report) = 0;  // 0
};
