#pragma once

#include "tools/optimizerctl/verbs.h"

namespace ctl {

void AddModuleNoun(CLI::App& app, Verbs& verbs);

}  // namespace ctl
