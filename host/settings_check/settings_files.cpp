#include "host/settings_check/settings_files.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <system_error>

#include <windows.h>

#include "frame/json.h"
#include "frame/notes_check.h"
#include "frame/revert_notes.h"
#include "frame/text.h"
#include "host/optimizerprocessdp/application_file.h"

namespace host {

namespace {

constexpr const wchar_t* kProfiles = L"profiles.json";
constexpr const wchar_t* kRestoreSuffix = L"_restore_profile.json";
constexpr const wchar_t* kConfigSuffix = L"_config_profiles.json";

constexpr int64_t kMiB = int64_t{1024} * 1024;
constexpr int64_t kLargestApplications = kMiB;  // as far as the lists' plug-in reads

bool Exists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

/// False with the state and the problem of a file whose text can't be had.
bool ReadText(SettingsFile& file, int64_t largest, std::string& text) {
    std::error_code ignored;
    if (std::filesystem::is_directory(file.path, ignored)) {
        file.state = SettingsFileState::Broken;
        file.problem = L"is a folder";
        return false;
    }
    std::ifstream stream(std::filesystem::path(file.path), std::ios::binary);
    if (!stream) {
        const DWORD error = GetLastError();
        const bool missing = !std::filesystem::exists(file.path, ignored) && !ignored;
        file.state = missing ? SettingsFileState::Absent : SettingsFileState::Unreadable;
        file.problem = missing ? L"is missing" : L"can't be read: " + optimizer::SystemErrorText(error);
        return false;
    }
    const auto size = static_cast<int64_t>(std::filesystem::file_size(file.path, ignored));
    if (!ignored && size > largest) {
        file.state = SettingsFileState::Broken;
        file.problem = L"is larger than " + std::to_wstring(largest / kMiB) + L" MiB";
        return false;
    }
    text.assign(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
    return true;
}

/// Reads one file; `isEmpty` tells one without any text, which is broken.
SettingsFile Inspect(const std::wstring& path, bool& isEmpty,
                     int64_t largest = optimizer::json::kLargestFileBytes) {
    SettingsFile file;
    file.path = path;
    isEmpty = false;
    std::string text;
    if (!ReadText(file, largest, text)) return file;
    std::string error;
    isEmpty = text.empty();
    if (isEmpty) {
        file.problem = L"is empty";
    } else if (!optimizer::json::Parse(text, file.document, error)) {
        file.problem = L"is not JSON (" + optimizer::Widen(error) + L")";
    } else if (!file.document.is<picojson::object>()) {
        file.problem = L"is not a JSON object";
    }
    file.state = file.problem.empty() ? SettingsFileState::Ok : SettingsFileState::Broken;
    return file;
}

SettingsFile InspectProfiles(const std::wstring& path) {
    bool isEmpty = false;
    return Inspect(path, isEmpty);
}

void TakeForEmpty(SettingsFile& file) {
    file.state = SettingsFileState::Ok;
    file.problem.clear();
    file.document = picojson::value(picojson::object());
}

SettingsFile InspectConfig(const std::wstring& path) {
    bool isEmpty = false;
    SettingsFile file = Inspect(path, isEmpty);
    if (isEmpty) TakeForEmpty(file);
    return file;
}

/// The lists in it have to be sound too.
SettingsFile InspectApplications(const std::wstring& path) {
    bool isEmpty = false;
    SettingsFile file = Inspect(path, isEmpty, kLargestApplications);
    if (file.state == SettingsFileState::Ok && !ApplicationLists::FromJson(file.document, file.problem))
        file.state = SettingsFileState::Broken;
    return file;
}

/// As the engine judges: a changed byte in the notes breaks a file that can be read.
SettingsFile InspectNotes(const std::wstring& path, bool& isEmpty) {
    SettingsFile file = Inspect(path, isEmpty);
    const bool fits = file.state != SettingsFileState::Ok ||
                      optimizer::NotesFitCheck(file.document.get<picojson::object>());
    if (fits) return file;
    file.state = SettingsFileState::Broken;
    file.problem = L"holds other notes than were written";
    return file;
}

SettingsFile InspectRestoreFile(const std::wstring& path) {
    bool isEmpty = false;
    SettingsFile file = InspectNotes(path, isEmpty);
    file.isSetAside = Exists(path + optimizer::kDamagedSuffix);
    if (file.state == SettingsFileState::Ok) return file;
    bool copyIsEmpty = false;
    const SettingsFile copy = InspectNotes(path + optimizer::kCopySuffix, copyIsEmpty);
    file.copyCounts = copy.state == SettingsFileState::Ok;
    if (file.copyCounts) {
        file.document = copy.document;
    } else if (copy.state != SettingsFileState::Absent) {
        // What the copy held is lost as well, or can't be told now.
        if (file.state != SettingsFileState::Unreadable) file.state = copy.state;
        if (copy.state == SettingsFileState::Unreadable) file.problem += L", and its copy " + copy.problem;
    } else if (isEmpty) {
        TakeForEmpty(file);  // one that was made and never written has no copy
    }
    return file;
}

}  // namespace

std::vector<SettingsFile> ReadSettingsFiles(const std::wstring& folder) {
    std::vector<SettingsFile> files{InspectProfiles(folder + kProfiles)};
    std::set<std::wstring> restoreFiles;  // by what lies beside them, too: a copy may be all that is left
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
        const std::wstring name = entry.path().filename().wstring();
        if (name == kApplicationsFile) files.push_back(InspectApplications(entry.path().wstring()));
        if (name.ends_with(kConfigSuffix)) files.push_back(InspectConfig(entry.path().wstring()));
        if (const size_t suffix = name.find(kRestoreSuffix); suffix != std::wstring::npos)
            restoreFiles.insert(RestoreFileName(name.substr(0, suffix)));
    }
    for (const std::wstring& name : restoreFiles) {
        SettingsFile file = InspectRestoreFile(folder + name);
        const bool isLeft = file.state != SettingsFileState::Absent || file.copyCounts || file.isSetAside;
        if (isLeft) files.push_back(std::move(file));
    }
    return files;
}

bool IsRestoreFile(const std::wstring& name) {
    return name.ends_with(kRestoreSuffix);
}

std::wstring RestoreFileName(const std::wstring& key) {
    return key + kRestoreSuffix;
}

std::vector<RevertEntry> RevertEntries(const SettingsFile& file) {
    if (file.told) return *file.told;
    std::vector<RevertEntry> entries;
    if (!file.document.is<picojson::object>()) return entries;
    const auto notes = optimizer::RevertNotes::FromDocument(file.document.get<picojson::object>());
    for (const auto& [action, values] : notes.values) {
        size_t count = 1;
        if (values.is<picojson::array>()) count = values.get<picojson::array>().size();
        if (values.is<picojson::object>()) count = values.get<picojson::object>().size();
        const auto owner = notes.owners.find(action);
        entries.push_back({optimizer::Widen(action), count, false,
                           optimizer::Widen(owner != notes.owners.end() ? owner->second : "")});
    }
    for (const std::string& action : notes.inForce)
        entries.push_back({optimizer::Widen(action), 0, true, L""});
    return entries;
}

}  // namespace host
