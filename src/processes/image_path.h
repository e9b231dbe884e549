#pragma once

#include <string>

namespace optimizer {

/// Whether a full path leads to a drive of this machine. Not so for a share, a mapped drive and a name of the
/// system's device space; opens nothing.
bool IsOnLocalDrive(const std::wstring& path);

}  // namespace optimizer
