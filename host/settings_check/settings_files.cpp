#include "host/settings_check/settings_files.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include <windows.h>

#include "frame/json.h"
#include "frame/text.h"

namespace host {

namespace {

constexpr const wchar_t* kProfiles = L"profiles.json";
constexpr const wchar_t* kRestoreSuffix = L"_restore_profile.json";
constexpr const wchar_t* kConfigSuffix = L"_config_profiles.json";
constexpr const char* kRevertListKey = "Disabled";

}  // namespace

SettingsFile ReadSettingsFile(const std::wstring& path, bool mayBeEmpty) {
    SettingsFile result;
    result.path = path;
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    if (!file) {
        const DWORD error = GetLastError();
        std::error_code ignored;
        const bool missing = !std::filesystem::exists(path, ignored) && !ignored;
        result.state = missing ? SettingsFileState::Missing : SettingsFileState::Unreadable;
        result.problem = missing ? L"is missing" : L"can't be read: " + optimizer::SystemErrorText(error);
        return result;
    }
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    std::string error;
    if (text.empty() && mayBeEmpty) {
        result.document = picojson::value(picojson::object());
    } else if (text.empty()) {
        result.problem = L"is empty";
    } else if (!optimizer::json::Parse(text, result.document, error)) {
        result.problem = L"is not JSON (" + optimizer::Widen(error) + L")";
    } else if (!result.document.is<picojson::object>()) {
        result.problem = L"is not a JSON object";
    }
    result.state = result.problem.empty() ? SettingsFileState::Good : SettingsFileState::Broken;
    return result;
}

std::vector<SettingsFile> ReadSettingsFiles(const std::wstring& folder) {
    std::vector<SettingsFile> files{ReadSettingsFile(folder + kProfiles, false)};
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
        const std::wstring name = entry.path().filename().wstring();
        if (IsRevertFile(name) || name.ends_with(kConfigSuffix))
            files.push_back(ReadSettingsFile(entry.path().wstring(), true));
    }
    return files;
}

bool IsRevertFile(const std::wstring& name) {
    return name.ends_with(kRestoreSuffix);
}

std::vector<RevertEntry> RevertEntries(const SettingsFile& file) {
    std::vector<RevertEntry> entries;
    const picojson::value* const list = optimizer::json::Find(file.document, kRevertListKey);
    if (list == nullptr || !list->is<picojson::object>()) return entries;
    for (const auto& [action, values] : list->get<picojson::object>()) {
        size_t count = 1;
        if (values.is<picojson::array>()) count = values.get<picojson::array>().size();
        if (values.is<picojson::object>()) count = values.get<picojson::object>().size();
        entries.push_back({optimizer::Widen(action), count});
    }
    return entries;
}

}  // namespace host
