#pragma once

#include <string>

#include <picojson.h>

#include <windows.h>

namespace host {

enum class SettingsFileState {
    Ok,
    Absent,
    Unreadable,  // there, but can't be opened or read, far too large for a settings file, or not to be
                 // trusted
    Broken,      // not JSON
};

/// Reads a JSON file that people edit: UTF-8, a byte order mark in front is let pass. `failure` says what is
/// wrong with it in one sentence. Traces nothing, since the log's own settings are read with it. Throws
/// std::bad_alloc.
SettingsFileState ReadSettingsFile(const std::wstring& path, picojson::value& out, std::wstring& failure);

/// The same of a file that is open for reading; never Absent. `path` is for `failure` only.
SettingsFileState ReadOpenedSettings(HANDLE file, const std::wstring& path, picojson::value& out,
                                     std::wstring& failure);

/// A text with its environment variables replaced; as it is when that can't be done.
std::wstring ExpandEnvironment(const std::wstring& text);

}  // namespace host
