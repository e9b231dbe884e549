#include "frame/settings_folder.h"

#include <windows.h>

#include <shlwapi.h>

#include "frame/module_path.h"

namespace optimizer {

std::wstring SettingsFolder(const std::wstring& dataFolder) {
    if (dataFolder.empty()) return GetModuleFolder() + L"settings\\optimizer\\";
    const bool complete = dataFolder.back() == L'\\';
    const std::wstring folder = dataFolder + (complete ? L"" : L"\\") + L"optimizer\\";
    return PathIsRelativeW(folder.c_str()) ? GetModuleFolder() + folder : folder;
}

}  // namespace optimizer
