#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <picojson.h>

#include "host/iservconfig/settings_file.h"

namespace host {

/// What is noted for one action.
struct RevertEntry {
    std::wstring action;
    size_t valueCount = 0;
    bool isNamed = false;  // there are no values: the action as such is to be taken back
    std::wstring owner;    // whose values they are, "DOMAIN\name"; empty where the file tells that
};

/// One file of the settings folder, as it is on disk and as the engine takes it.
struct SettingsFile {
    std::wstring path;
    SettingsFileState state = SettingsFileState::Absent;
    std::wstring problem;      // what is wrong, as the end of a sentence that begins with the file
    picojson::value document;  // an object when the state is Ok or the copy counts

    // Of a restore file only.
    bool copyCounts = false;  // the file is of no use, and its last good copy stands for it
    bool isSetAside = false;  // notes of before were damaged and are kept beside it
    std::optional<std::vector<RevertEntry>> told;  // by the engine, where this account may not read it

    std::wstring Name() const { return path.substr(path.find_last_of(L'\\') + 1); }
    bool IsUsable() const { return state == SettingsFileState::Ok || copyCounts; }
};

/// The profile definitions in any case; then the applications and the users' own settings that are there, and
/// the restore files of which anything is left.
std::vector<SettingsFile> ReadSettingsFiles(const std::wstring& folder);

/// Whether this is a restore file, the machine's or a user's.
bool IsRestoreFile(const std::wstring& name);
/// The restore file for a key of the engine's: "system" or a user's.
std::wstring RestoreFileName(const std::wstring& key);
/// What is noted in the file, or in its copy where that counts.
std::vector<RevertEntry> RevertEntries(const SettingsFile& file);

}  // namespace host
