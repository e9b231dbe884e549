#pragma once

#include <optional>
#include <string>

#include <picojson.h>

#include "host/run_problems/run_problems.h"
#include "tools/optimizerctl/context.h"
#include "tools/optimizerctl/exit_codes.h"

namespace ctl {

/// What a verb says of the run that it asked for.
struct RunTexts {
    std::wstring done;   // the whole sentence where nothing went wrong
    std::wstring begin;  // of the sentence otherwise: what is true in any case
};

/// Tells what became of a run: each thing that wasn't done in a sentence of its own, in the document under
/// "problems". Refused when somebody has to see to one of them. Nothing is known of the run of an engine of
/// before, which counts as done.
ExitCode TellOutcome(Context& context, const RunTexts& texts, picojson::object document,
                     const std::optional<host::LastRun>& run);

/// The problems as documents.
picojson::value ProblemsDocument(const host::LastRun& run, const std::wstring& folder);

}  // namespace ctl
