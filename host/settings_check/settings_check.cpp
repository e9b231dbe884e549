#include "host/settings_check/settings_check.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <windows.h>

#include "border/optimizer.h"
#include "border/product_info.h"
#include "frame/exported_object.h"
#include "frame/handles.h"
#include "frame/json.h"
#include "frame/module_path.h"
#include "frame/settings_folder.h"
#include "frame/text.h"
#include "optimizerprocessdp/application_file.h"

namespace host {

namespace {

using optimizer::SystemErrorText;
using optimizer::Widen;

constexpr const wchar_t* kRestoreSuffix = L"_restore_profile.json";
constexpr const wchar_t* kConfigSuffix = L"_config_profiles.json";

void Add(std::vector<SettingsFinding>& findings, bool prevents, const std::wstring& sentence) {
    findings.push_back({prevents, sentence});
}

/// Parses a file. What is wrong goes to `problem`, as the end of a sentence that begins with the file.
bool ParseFile(const std::filesystem::path& path, picojson::value& out, std::wstring& problem) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        const DWORD error = GetLastError();
        problem = L"can't be read: " + SystemErrorText(error);
        return false;
    }
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (text.empty()) {
        problem = L"is empty";
        return false;
    }
    std::string error;
    if (!optimizer::json::Parse(text, out, error)) {
        problem = L"is not JSON (" + Widen(error) + L")";
        return false;
    }
    if (!out.is<picojson::object>()) {
        problem = L"is not a JSON object";
        return false;
    }
    return true;
}

void CheckActionNames(const picojson::value& document, std::vector<SettingsFinding>& findings) {
    for (const wchar_t* profile : optimizer::profiles::kNames) {
        const picojson::value* const actions = optimizer::json::Find(document, optimizer::Narrow(profile));
        if (actions == nullptr) continue;
        if (!actions->is<picojson::object>()) {
            Add(findings, false,
                std::wstring(L"The profile \"") + profile +
                    L"\" in profiles.json is not an object and is ignored; make it one.");
            continue;
        }
        for (const auto& entry : actions->get<picojson::object>()) {
            const std::wstring name = Widen(entry.first);
            const bool known =
                std::any_of(std::begin(optimizer::kActionNames), std::end(optimizer::kActionNames),
                            [&](const wchar_t* action) { return name == action; });
            if (!known) {
                Add(findings, false,
                    L"The action \"" + name + L"\" of profile \"" + profile +
                        L"\" in profiles.json is unknown and is ignored; correct its name.");
            }
        }
    }
}

void CheckProfiles(const std::wstring& folder, std::vector<SettingsFinding>& findings) {
    const std::wstring path = folder + L"profiles.json";
    picojson::value document;
    std::wstring problem;
    if (!std::filesystem::exists(path)) {
        Add(findings, true,
            L"The profile definitions " + path +
                L" are missing; install the file that came with the program.");
    } else if (!ParseFile(path, document, problem)) {
        Add(findings, true,
            L"The file " + path + L" " + problem +
                L"; correct it or install the one that came with the program.");
    } else {
        CheckActionNames(document, findings);
    }
}

void CheckApplications(const std::wstring& folder, std::vector<SettingsFinding>& findings) {
    ApplicationLists lists;
    std::wstring failure;
    const SettingsFileState state = ReadApplications(folder + kApplicationsFile, lists, failure);
    if (state == SettingsFileState::Ok || state == SettingsFileState::Absent) return;
    Add(findings, false, failure + L"; no profile has applications until you correct the file.");
}

void CheckStateFiles(const std::wstring& folder, std::vector<SettingsFinding>& findings) {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        const std::wstring name = entry.path().filename().wstring();
        if (!name.ends_with(kRestoreSuffix) && !name.ends_with(kConfigSuffix)) continue;
        picojson::value document;
        std::wstring problem;
        if (entry.file_size(error) == 0 || ParseFile(entry.path(), document, problem)) continue;
        Add(findings, false,
            L"The file " + entry.path().wstring() + L" " + problem +
                L"; it is left as it is and not used until you correct or remove it.");
    }
}

void CheckWritable(const std::wstring& folder, std::vector<SettingsFinding>& findings) {
    const std::wstring probe = folder + L"write_test_" + std::to_wstring(GetCurrentProcessId()) + L".tmp";
    const optimizer::FileHandle file(CreateFileW(probe.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                                 FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE,
                                                 nullptr));
    if (file) return;
    const DWORD error = GetLastError();
    Add(findings, true,
        L"The settings folder " + folder + L" can't be written, so that nothing could be put back: " +
            SystemErrorText(error) + L". Give this account the right to change it.");
}

}  // namespace

std::wstring FindSettingsFolder() {
    optimizer::ExportedObject<IProductInfo> product;
    std::wstring dataFolder;
    const std::wstring library = optimizer::GetModuleFolder() + L"iservconfig.dll";
    if (product.Load(library, L"productinfo", kConfigurationObjectIdentifier) == ERROR_SUCCESS) {
        const wchar_t* const value = product.Get()->GetValue(2, L"common");
        if (value != nullptr) dataFolder = value;
    }
    return optimizer::SettingsFolder(dataFolder);
}

std::vector<SettingsFinding> CheckSettings(const std::wstring& folder) {
    std::vector<SettingsFinding> findings;
    CheckProfiles(folder, findings);
    if (std::filesystem::is_directory(folder)) {
        CheckApplications(folder, findings);
        CheckStateFiles(folder, findings);
        CheckWritable(folder, findings);
    }
    return findings;
}

}  // namespace host
