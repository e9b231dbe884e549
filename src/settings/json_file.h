#pragma once

#include <string>

#include <picojson.h>

namespace optimizer {

enum class JsonFileState {
    Ok,
    Absent,      // no such file
    Empty,       // no text in it
    Unreadable,  // there, but can't be opened or read
    Broken,      // doesn't parse
};

/// Reads and parses a whole file. Broken ones are traced with the place of the error, which `error` receives
/// too.
JsonFileState ReadJsonFile(const std::wstring& path, picojson::value& out, std::string* error = nullptr);

/// Replaces the file's content by the compact text and has it on disk at the return.
bool WriteJsonFile(const std::wstring& path, const picojson::value& value);

/// Reads a file into an object to be changed. An absent or empty file gives an empty object; anything else
/// that isn't an object is false, so that nobody overwrites what a person may still want to mend.
bool ReadObjectForChange(const std::wstring& path, picojson::object& out);

}  // namespace optimizer
