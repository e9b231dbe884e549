#include "frame/settings_folder.h"

#include <windows.h>

#include <shlwapi.h>

#include "border/product_info.h"
#include "frame/module_path.h"
#include "frame/plugin_request.h"

namespace optimizer {

namespace {

constexpr const wchar_t* kOwnFolder = L"settings\\optimizer\\";

}  // namespace

std::wstring DataFolder(IProductInfo* product) {
    const wchar_t* const value = product != nullptr ? product->GetValue(2, L"common") : nullptr;
    return value != nullptr ? value : L"";
}

std::wstring SettingsFolder(const std::wstring& dataFolder) {
    if (dataFolder.empty()) return GetModuleFolder() + kOwnFolder;
    const bool complete = dataFolder.back() == L'\\';
    const std::wstring folder = dataFolder + (complete ? L"" : L"\\") + L"optimizer\\";
    return PathIsRelativeW(folder.c_str()) ? GetModuleFolder() + folder : folder;
}

std::wstring HostSettingsFolder() {
    return GetProgramFolder() + kOwnFolder;
}

std::wstring SettingsFolder(IComponentManager* components) {
    constexpr const wchar_t* kProductInfo = L"productinfo";
    std::wstring dataFolder;
    if (auto* const product = RequestPlugin<IProductInfo>(components, kProductInfo)) {
        dataFolder = DataFolder(product);
        components->ReleasePlugin(kProductInfo);
    }
    return SettingsFolder(dataFolder);
}

}  // namespace optimizer
