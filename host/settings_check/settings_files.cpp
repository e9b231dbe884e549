#include "host/settings_check/settings_files.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include <windows.h>

#include "frame/json.h"
#include "frame/text.h"
#include "host/optimizerprocessdp/application_file.h"

namespace host {

namespace {

constexpr const wchar_t* kProfiles = L"profiles.json";
constexpr const wchar_t* kRestoreSuffix = L"_restore_profile.json";
constexpr const wchar_t* kConfigSuffix = L"_config_profiles.json";
constexpr const char* kRevertListKey = "Disabled";

}  // namespace

SettingsFile InspectSettingsFile(const std::wstring& path, bool mayBeEmpty) {
    SettingsFile result;
    result.path = path;
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    if (!file) {
        const DWORD error = GetLastError();
        std::error_code ignored;
        const bool missing = !std::filesystem::exists(path, ignored) && !ignored;
        result.state = missing ? SettingsFileState::Absent : SettingsFileState::Unreadable;
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
    result.state = result.problem.empty() ? SettingsFileState::Ok : SettingsFileState::Broken;
    return result;
}

namespace {

/// The lists in it have to be sound too.
SettingsFile InspectApplications(const std::wstring& path) {
    SettingsFile file = InspectSettingsFile(path, false);
    if (file.state == SettingsFileState::Ok && !ApplicationLists::FromJson(file.document, file.problem))
        file.state = SettingsFileState::Broken;
    return file;
}

}  // namespace

std::vector<SettingsFile> ReadSettingsFiles(const std::wstring& folder) {
    std::vector<SettingsFile> files{InspectSettingsFile(folder + kProfiles, false)};
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
        const std::wstring name = entry.path().filename().wstring();
        if (name == kApplicationsFile) files.push_back(InspectApplications(entry.path().wstring()));
        if (IsRevertFile(name) || name.ends_with(kConfigSuffix))
            files.push_back(InspectSettingsFile(entry.path().wstring(), true));
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
