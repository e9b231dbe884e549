#pragma once

#include "tools/optimizerctl/verbs.h"

namespace ctl {

void AddCompletionNoun(CLI::App& app, Verbs& verbs);

}  // namespace ctl
