#pragma once

#include <cstdint>
#include <string>

#include <picojson.h>

namespace optimizer {

/// ERROR_INVALID_OWNER
inline constexpr uint32_t kErrorNotTrusted = 1307;

enum class JsonFileState {
    Ok,
    Absent,      // no such file
    Empty,       // no text in it
    Unreadable,  // there, but can't be opened or read now, or isn't to be trusted
    Broken,      // doesn't parse, is too large or no file at all
};

/// Reads and parses a whole file. What is wrong with a broken one is traced, and `error` receives it. Waits
/// up to a second and a half for a file that somebody holds.
JsonFileState ReadJsonFile(const std::wstring& path, picojson::value& out, std::string* error = nullptr);

/// Replaces the file's content by the compact text and has it on disk at the return. 0, or the system's
/// error: the file holds what it held before then, or the new text, which the disk may not have. A file that
/// this process doesn't go by (trust/file_trust.h) gives kErrorNotTrusted and is left as it is.
[[nodiscard]] uint32_t WriteJsonFile(const std::wstring& path, const picojson::value& value);

/// Reads a file into an object to be changed. An absent or empty file gives an empty object; anything else
/// that isn't an object is false, so that nobody overwrites what a person may still want to mend.
bool ReadObjectForChange(const std::wstring& path, picojson::object& out);

}  // namespace optimizer
