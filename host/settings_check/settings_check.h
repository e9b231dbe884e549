#pragma once

#include <string>
#include <vector>

namespace host {

/// One thing that is wrong with the settings, in one sentence that says what to do.
struct SettingsFinding {
    bool prevents;  // the engine can't do its work
    std::wstring sentence;
};

/// The settings folder that the engine in this program's folder uses.
std::wstring FindSettingsFolder();

/// Looks at the settings before the engine does. Changes nothing but for a file that it makes and removes to
/// see whether the folder can be written.
std::vector<SettingsFinding> CheckSettings(const std::wstring& folder);

}  // namespace host
