#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <picojson.h>

#include "host/run_problems/engine_notes.h"
#include "host/run_problems/run_problems.h"
#include "host/settings_check/settings_check.h"
#include "tools/optimizerctl/failure.h"
#include "tools/optimizerctl/surroundings.h"

namespace ctl {

/// What the engine says of itself.
struct EngineState {
    std::optional<Failure> failure;  // why it says nothing; the rest is void then
    uint64_t milliseconds = 0;       // from the connect to the first answer
    std::wstring profile;
};

/// What the measurement of the boot says of itself.
struct BootState {
    std::optional<Failure> failure;  // why there is no time: no results, not yet, or no answer
    uint32_t milliseconds = 0;
};

/// Everything that doctor looks at, and what it makes of it.
struct Diagnosis {
    ServiceState service;
    EngineState engine;
    std::optional<BootState> boot;           // not asked for without a service that answers
    std::optional<host::LastRun> lastRun;    // nothing where the engine doesn't tell
    std::optional<host::EngineNotes> notes;  // likewise
    std::wstring folder;
    std::vector<host::SettingsFile> files;
    std::vector<std::wstring> problems;  // of the settings, then of the last run, a sentence each
    bool isToBeMended = false;           // one of them is more than told
};

/// Reads the settings of a folder into the diagnosis, and takes from the engine's notes, where they are
/// there, what this account may not read.
void DiagnoseSettings(const std::wstring& folder, Diagnosis& diagnosis);
/// Adds what the last run didn't get done; after the settings, which tell some of it already.
void DiagnoseLastRun(Diagnosis& diagnosis);

/// The first thing that is wrong, the engine before the settings. A service that isn't installed is none: the
/// engine may run in a console. A boot without figures is none either.
ExitCode Verdict(const Diagnosis& diagnosis);
std::wstring ReportText(const Diagnosis& diagnosis);
picojson::object ReportDocument(const Diagnosis& diagnosis);

}  // namespace ctl
