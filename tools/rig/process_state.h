#pragma once

#include <cstddef>
#include <string>

#include <windows.h>

namespace rig {

/// What the system says of a running process, by its id. All throw std::runtime_error when it says nothing.

/// NORMAL_PRIORITY_CLASS, ...
DWORD PriorityClass(DWORD processId);
/// "NORMAL" and the like.
std::wstring PriorityText(DWORD priorityClass);
size_t PrivateBytes(DWORD processId);

}  // namespace rig
