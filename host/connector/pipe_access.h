// Where a pipe is found, and who may do what with it.
#pragma once

#include <cstdint>
#include <string>

#include <windows.h>

#include "frame/handles.h"

namespace host {

/// Empty for a null or empty name.
std::wstring PipePath(const wchar_t* pipeName);

/// What a client asks for: to read and to write, and to choose reading by message. GENERIC_WRITE would ask
/// for FILE_CREATE_PIPE_INSTANCE too, which clients aren't granted.
inline constexpr DWORD kClientAccess = GENERIC_READ | FILE_WRITE_DATA | FILE_WRITE_ATTRIBUTES;

/// The owner and the access list of a pipe: it belongs to the administrators or, where this process isn't one
/// of them, to its account; the system, administrators and the account of this process do everything, whoever
/// is logged on at the machine connects. Null with the thread's last error on failure. Throws
/// std::bad_alloc.
optimizer::LocalMemory MakePipeSecurity();

}  // namespace host
