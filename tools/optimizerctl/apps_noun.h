#pragma once

#include "tools/optimizerctl/verbs.h"

namespace ctl {

void AddAppsNoun(CLI::App& app, Verbs& verbs);

}  // namespace ctl
