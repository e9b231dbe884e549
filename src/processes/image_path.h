#pragma once

#include <string>

#include "frame/handles.h"

namespace optimizer {

/// Whether a full path leads to a drive of this machine. Not so for a share, a mapped drive and a name of the
/// system's device space; opens nothing.
bool IsOnLocalDrive(const std::wstring& path);

/// Opens a file of such a path for reading, and others for nothing but that, so that no later open of it for
/// reading waits either. Invalid when it can't be opened, or somebody holds up those who open it.
FileHandle OpenWithoutWaiting(const std::wstring& path);

}  // namespace optimizer
