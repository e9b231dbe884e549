#pragma once

#include <cstdint>
#include <string>

namespace optimizer {

/// Starts the program of a command line, found by the system's search and without a console window, and
/// leaves it to itself. 0 or the system's error.
[[nodiscard]] uint32_t Launch(const std::wstring& commandLine);

}  // namespace optimizer
