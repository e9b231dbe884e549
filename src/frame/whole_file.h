#pragma once

#include <cstdint>
#include <string>

namespace optimizer {

/// Puts a file with this content in the place of what is there. It is written beside it, as `path` with
/// ".new" behind, and takes its place when it is on disk: a failure or a kill leaves the old file as it was.
/// 0, or the system's error.
[[nodiscard]] uint32_t WriteWholeFile(const std::wstring& path, const std::string& content);

}  // namespace optimizer
