#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <picojson.h>

#include "host/iservconfig/settings_file.h"

namespace host {

/// One file of the settings folder, as it is on disk.
struct SettingsFile {
    std::wstring path;
    SettingsFileState state = SettingsFileState::Absent;
    std::wstring problem;      // what is wrong, as the end of a sentence that begins with the file
    picojson::value document;  // an object when the state is Ok

    std::wstring Name() const { return path.substr(path.find_last_of(L'\\') + 1); }
};

/// Reads one file. An empty one is broken, unless `mayBeEmpty`: it is an object without members then.
SettingsFile InspectSettingsFile(const std::wstring& path, bool mayBeEmpty);

/// The profile definitions in any case; then the applications, the revert lists and the users' own settings
/// that are there.
std::vector<SettingsFile> ReadSettingsFiles(const std::wstring& folder);

/// What an action's entry in a revert list comes to.
struct RevertEntry {
    std::wstring action;
    size_t valueCount;
};

/// Whether this is a revert list, the machine's or a user's.
bool IsRevertFile(const std::wstring& name);
/// What the list would put back.
std::vector<RevertEntry> RevertEntries(const SettingsFile& file);

}  // namespace host
