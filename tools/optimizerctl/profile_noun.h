#pragma once

#include "tools/optimizerctl/verbs.h"

namespace ctl {

void AddProfileNoun(CLI::App& app, Verbs& verbs);

}  // namespace ctl
