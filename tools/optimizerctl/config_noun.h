#pragma once

#include "tools/optimizerctl/verbs.h"

namespace ctl {

void AddConfigNoun(CLI::App& app, Verbs& verbs);

}  // namespace ctl
