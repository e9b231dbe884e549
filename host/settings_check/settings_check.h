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

/// What is wrong with the files. The first one holds the profile definitions, as ReadSettingsFiles gives
/// them.
std::vector<SettingsFinding> CheckFiles(const std::vector<SettingsFile>& files);

/// Looks at the settings before the engine does. Changes nothing but for a file that it makes and removes to
/// see whether the folder can be written.
std::vector<SettingsFinding> CheckSettings(const std::wstring& folder);

}  // namespace host
