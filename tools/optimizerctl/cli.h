#pragma once

#include <string>
#include <vector>

#include "tools/optimizerctl/exit_codes.h"
#include "tools/optimizerctl/surroundings.h"

namespace ctl {

/// Carries out one command line, without the program's name. Blocks until it is done or its time is up; in
/// the latter case the process may end at once with ExitCode::TimedOut or ExitCode::NoService.
ExitCode RunCommandLine(const std::vector<std::wstring>& arguments, Surroundings& surroundings);

}  // namespace ctl
