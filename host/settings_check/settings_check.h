#pragma once

#include <string>
#include <vector>

#include "host/settings_check/settings_files.h"

namespace host {

/// One thing that is wrong with the settings, in one sentence that says what to do.
struct SettingsFinding {
    bool prevents;  // the engine can't do its work
    std::wstring sentence;
};

/// The settings folder that the engine in this program's folder uses.
std::wstring FindSettingsFolder();

/// About notes that were lost, and their restore file, which the engine has set aside.
std::wstring DamagedNotesSentence(const std::wstring& restoreFile);

/// What is wrong with the files. The first one holds the profile definitions, as ReadSettingsFiles gives
/// them.
std::vector<SettingsFinding> CheckFiles(const std::vector<SettingsFile>& files);

/// What is noted still, a sentence for each action, and which notes can't be told, of the machine and of all
/// users.
std::vector<std::wstring> StillNoted(const std::wstring& folder);

/// Looks at the settings before the engine does. Changes nothing but for a file that it makes and removes to
/// see whether the folder can be written.
std::vector<SettingsFinding> CheckSettings(const std::wstring& folder);

}  // namespace host
