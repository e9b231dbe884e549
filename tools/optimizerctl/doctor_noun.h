#pragma once

#include "tools/optimizerctl/verbs.h"

namespace ctl {

void AddDoctorNoun(CLI::App& app, Verbs& verbs);

}  // namespace ctl
