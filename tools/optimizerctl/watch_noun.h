#pragma once

#include "tools/optimizerctl/verbs.h"

namespace ctl {

void AddWatchNoun(CLI::App& app, Verbs& verbs);

}  // namespace ctl
