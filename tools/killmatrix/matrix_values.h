#pragma once

#include "tools/killmatrix/picture.h"

namespace killmatrix {

/// The machine's values that stand in the registry: the store of the simulated power library and update
/// agent, as "power/...", and the user's settings, as "user/...". A value reads "dword:1", "text:2",
/// "binary:9e1e" or "none".
void DescribeValues(Picture& picture);
/// Writes what differs, and takes away from the power store what `wanted` doesn't name.
void RestoreValues(const Picture& wanted);

}  // namespace killmatrix
