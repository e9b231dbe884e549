#pragma once

#include <string>

namespace optimizer {

/// The folder of the library or program that this code is linked into, with the last back-slash; empty on
/// failure.
std::wstring GetModuleFolder();
/// The same of the process's program.
std::wstring GetProgramFolder();

}  // namespace optimizer
