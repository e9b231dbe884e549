#pragma once

#include <string>

#include "border/optimizer.h"

namespace optimizer {

/// The profile's name in the settings files; empty for a value that is no profile.
std::string ProfileName(profiles::profile profile);

/// The profile of a name; "Disabled" for a name that isn't known.
profiles::profile ProfileFromName(const std::string& name);

}  // namespace optimizer
