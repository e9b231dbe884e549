#pragma once

#include "tools/optimizerctl/verbs.h"

namespace ctl {

void AddBootNoun(CLI::App& app, Verbs& verbs);

}  // namespace ctl
