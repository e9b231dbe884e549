#pragma once

#include <cstdint>
#include <string>

namespace optimizer {

/// Starts the "BootLauncher.exe" in the folder of this process's program with that command line and without a
/// console window, and leaves it to itself. 0 or the system's error, 2 (ERROR_FILE_NOT_FOUND) where there is
/// none.
[[nodiscard]] uint32_t Launch(const std::wstring& commandLine);

}  // namespace optimizer
