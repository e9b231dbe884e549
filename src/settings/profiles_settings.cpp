#include "settings/profiles_settings.h"

#include <utility>

#include <windows.h>

#include "frame/json.h"
#include "frame/notes_check.h"
#include "frame/text.h"
#include "frame/trace.h"
#include "frame/users_library.h"
#include "settings/guarded_file.h"
#include "settings/json_file.h"
#include "settings/profile_names.h"

namespace optimizer {

namespace {

constexpr const char* kActiveProfileKey = "active_profile";
constexpr const char* kModuleStatusKey = "module_status";
constexpr const char* kSystemActionsKey = "SystemActions";
// A message holds twice as much of them, as UTF-16.
constexpr size_t kMostConfigCharacters = size_t{256} * 1024;

std::wstring InFolder(const std::wstring& folder, const std::wstring& name) {
    const bool complete = !folder.empty() && folder.back() == L'\\';
    return folder + (complete ? L"" : L"\\") + name;
}

/// The file of the interactive user. `traceScope` is the caller's: a failure is told under its name.
bool MakeUserPath(const std::wstring& folder, const wchar_t* suffix, const trace::LogScope& traceScope,
                  std::wstring& path) {
    UserRecord user;
    if (!VxUsersLibrary::Instance().Fill(VxUsersLibrary::kSrvGetCurrentUserName, user)) {
        TRACE_LINE(trace::kWarning, L"SrvGetCurrentUserName failed");
        return false;
    }
    if (user.name[0] == 0) {
        TRACE_LINE(trace::kWarning, L"empty username");
        return false;
    }
    path = InFolder(folder, std::wstring(user.domain) + L"_" + user.name + suffix);
    return true;
}

/// The object under a key of a file; false when the file or the object isn't there.
bool ReadMember(const std::wstring& file, const std::string& key, picojson::value& out) {
    picojson::value document;
    if (ReadJsonFile(file, document) != JsonFileState::Ok) return false;
    const picojson::value* const member = json::Find(document, key);
    if (member == nullptr || !member->is<picojson::object>()) return false;
    out = *member;
    return true;
}

/// False when there is nothing to read.
bool ReadRestoreFile(const std::wstring& file, picojson::value& out) {
    picojson::object document;
    const bool read = GuardedFile(file).Read(document) == GuardedState::Ok;
    out = picojson::value(std::move(document));
    return read;
}

/// Of a restore file. One that is damaged has been set aside: a new one begins, whose notes wait for a
/// person.
uint32_t WriteMember(const std::wstring& path, const char* key, const picojson::value& value) {
    const GuardedFile file(path);
    picojson::object document;
    const GuardedState state = file.Read(document);
    if (state == GuardedState::Unreadable) return ERROR_LOCK_VIOLATION;
    // Where it couldn't be set aside, it would be lost without a trace.
    if (state == GuardedState::Damaged && !file.IsDamaged()) return ERROR_FILE_CORRUPT;
    document[key] = value;
    return file.Write(std::move(document));
}

}  // namespace

CProfilesSettings::Restore::Restore(const std::wstring& f)
    : folder(f), systemFile(InFolder(f, L"system_restore_profile.json")) {}

bool CProfilesSettings::Restore::GetUserFile(std::wstring& path) const {
    TRACE_SCOPE("CProfilesSettings::Restore::GetUserFile");
    return MakeUserPath(folder, L"_restore_profile.json", traceScope, path);
}

bool CProfilesSettings::Config::GetUserFile(std::wstring& path) const {
    TRACE_SCOPE("CProfilesSettings::Config::GetUserFile");
    return MakeUserPath(folder, L"_config_profiles.json", traceScope, path);
}

CProfilesSettings::CProfilesSettings(const std::wstring& folder)
    : m_profilesFile(InFolder(folder, L"profiles.json")), m_restore(folder), m_config(folder) {}

void CProfilesSettings::Init() {
    TRACE_SCOPE("CProfilesSettings::Init");
    CriticalSectionGuard guard(m_lock);
    std::wstring userFile;
    if (m_restore.GetUserFile(userFile) && !_LoadActiveProfile(userFile)) {
        TRACE_LINE(trace::kWarning, L"Failed LoadActiveProfile");
    }
    if (!_LoadSystemActions()) TRACE_LINE(trace::kWarning, L"Failed load SystemActions");
}

bool CProfilesSettings::GetActiveProfile(profile* out) {
    TRACE_SCOPE("CProfilesSettings::GetActiveProfile");
    CriticalSectionGuard guard(m_lock);
    std::wstring userFile;
    if (!m_restore.GetUserFile(userFile)) return false;
    if (!_LoadActiveProfile(userFile)) {
        TRACE_LINE(trace::kWarning, L"Failed LoadActiveProfile");
        m_activeProfile = profile::Disabled;
        // What couldn't be read mustn't be overwritten by that.
        m_activeUserFile.clear();
    }
    *out = m_activeProfile;
    return true;
}

void CProfilesSettings::SetActiveProfile(const profile* active) {
    TRACE_SCOPE("CProfilesSettings::SetActiveProfile");
    static_cast<void>(StoreActiveProfile(active));
}

uint32_t CProfilesSettings::StoreActiveProfile(const profile* active) {
    TRACE_SCOPE("CProfilesSettings::StoreActiveProfile");
    CriticalSectionGuard guard(m_lock);
    std::wstring userFile;
    if (ProfileName(*active).empty()) return ERROR_INVALID_PARAMETER;
    if (!m_restore.GetUserFile(userFile)) return ERROR_NO_SUCH_USER;
    const uint32_t error = WriteMember(userFile, kActiveProfileKey, picojson::value(ProfileName(*active)));
    if (error != ERROR_SUCCESS) return error;
    m_activeProfile = *active;
    m_activeUserFile = userFile;
    return ERROR_SUCCESS;
}

void CProfilesSettings::GetUserActions(const profile* which, std::wstring& out) {
    TRACE_SCOPE("CProfilesSettings::GetUserActions");
    CriticalSectionGuard guard(m_lock);
    std::wstring userFile;
    if (*which == profile::Disabled) m_restore.GetUserFile(userFile);
    _GetActions(which, userFile, out);
}

void CProfilesSettings::GetSystemActions(const profile* which, std::wstring& out) {
    TRACE_SCOPE("CProfilesSettings::GetSystemActions");
    CriticalSectionGuard guard(m_lock);
    _GetActions(which, m_restore.systemFile, out);
}

bool CProfilesSettings::GetShippedActions(const profile* which, std::wstring& out) {
    TRACE_SCOPE("CProfilesSettings::GetShippedActions");
    CriticalSectionGuard guard(m_lock);
    out.clear();
    picojson::value document;
    if (ReadJsonFile(m_profilesFile, document) != JsonFileState::Ok) return false;
    const picojson::value* const actions = json::Find(document, ProfileName(*which));
    if (actions != nullptr && actions->is<picojson::object>()) out = Widen(actions->serialize());
    return true;
}

bool CProfilesSettings::SetUserRevertActions(const std::wstring& text) {
    TRACE_SCOPE("CProfilesSettings::SetUserRevertActions");
    CriticalSectionGuard guard(m_lock);
    std::wstring userFile;
    return m_restore.GetUserFile(userFile) && _SetRevertActions(userFile, text);
}

bool CProfilesSettings::SetSystemRevertActions(const std::wstring& text) {
    TRACE_SCOPE("CProfilesSettings::SetSystemRevertActions");
    CriticalSectionGuard guard(m_lock);
    return _SetRevertActions(m_restore.systemFile, text);
}

bool CProfilesSettings::IsSystemAction(const std::wstring& name) {
    CriticalSectionGuard guard(m_lock);
    // A file that somebody held at the start: without its names the machine's notes would be the user's.
    if (!m_hasReadDefinitions) static_cast<void>(_LoadSystemActions());
    return m_systemActions.contains(Narrow(name));
}

bool CProfilesSettings::GetConfig(const profile* which, std::wstring& out) {
    TRACE_SCOPE("CProfilesSettings::GetConfig");
    out.clear();
    CriticalSectionGuard guard(m_lock);
    std::wstring userFile;
    if (!m_config.GetUserFile(userFile)) return false;
    picojson::value config;
    out = ReadMember(userFile, ProfileName(*which), config) ? Widen(config.serialize()) : L"{}";
    return true;
}

bool CProfilesSettings::SetConfig(const profile* which, const std::wstring& text) {
    TRACE_SCOPE("CProfilesSettings::SetConfig");
    CriticalSectionGuard guard(m_lock);
    std::wstring userFile;
    if (ProfileName(*which).empty() || !m_config.GetUserFile(userFile)) return false;
    picojson::value config;
    std::string error;
    if (!json::Parse(Narrow(text), config, error, 1)) {
        TRACE_LINE(trace::kWarning, L"%S", error.c_str());
        return false;
    }
    // As it will be written: some characters take more room than they came in, and who asks for it gets it in
    // one message.
    if (config.serialize().size() > kMostConfigCharacters) {
        TRACE_LINE(trace::kWarning, L"The config is too large");
        return false;
    }
    picojson::object document;
    if (!ReadObjectForChange(userFile, document)) return false;
    document[ProfileName(*which)] = config;
    return WriteJsonFile(userFile, picojson::value(document)) == ERROR_SUCCESS;
}

bool CProfilesSettings::GetModuleStatus(bool* out) {
    TRACE_SCOPE("CProfilesSettings::GetModuleStatus");
    *out = false;
    CriticalSectionGuard guard(m_lock);
    std::wstring userFile;
    picojson::value document;
    if (!m_restore.GetUserFile(userFile) || !ReadRestoreFile(userFile, document)) {
        TRACE_LINE(trace::kWarning, L"Failed LoadModuleStatus");
        return false;
    }
    *out = json::ToBool(json::Find(document, kModuleStatusKey)).value_or(false);
    return true;
}

bool CProfilesSettings::SetModuleStatus(const bool* enabled) {
    TRACE_SCOPE("CProfilesSettings::SetModuleStatus");
    CriticalSectionGuard guard(m_lock);
    std::wstring userFile;
    if (m_restore.GetUserFile(userFile) &&
        WriteMember(userFile, kModuleStatusKey, picojson::value(*enabled)) == ERROR_SUCCESS) {
        return true;
    }
    TRACE_LINE(trace::kWarning, L"Failed SaveModuleStatus");
    return false;
}

bool CProfilesSettings::_LoadActiveProfile(const std::wstring& userFile) {
    picojson::value document;
    if (!ReadRestoreFile(userFile, document)) return false;
    const auto name = json::ToText(json::Find(document, kActiveProfileKey));
    if (!name) return false;
    m_activeProfile = ProfileFromName(*name);
    m_activeUserFile = userFile;
    return true;
}

bool CProfilesSettings::_LoadSystemActions() {
    m_systemActions.clear();
    picojson::value document;
    m_hasReadDefinitions = ReadJsonFile(m_profilesFile, document) == JsonFileState::Ok;
    if (!m_hasReadDefinitions) return false;
    const picojson::value* const names = json::Find(document, kSystemActionsKey);
    if (names == nullptr || !names->is<picojson::array>()) return false;
    for (const picojson::value& name : names->get<picojson::array>()) {
        if (name.is<std::string>()) m_systemActions.insert(name.get<std::string>());
    }
    return true;
}

void CProfilesSettings::_GetActions(const profile* which, const std::wstring& restoreFile,
                                    std::wstring& out) {
    out.clear();
    picojson::value document;
    if (*which == profile::Disabled && !restoreFile.empty() && ReadRestoreFile(restoreFile, document)) {
        const picojson::value* const noted = json::Find(document, kRevertListKey);
        if (noted != nullptr && noted->is<picojson::object>()) {
            out = Widen(noted->serialize());
            return;
        }
    }
    static_cast<void>(GetShippedActions(which, out));
}

bool CProfilesSettings::_SetRevertActions(const std::wstring& path, const std::wstring& text) {
    TRACE_SCOPE("CProfilesSettings::_SetRevertActions");
    picojson::value actions;
    std::string error;
    if (!json::Parse(Narrow(text), actions, error, 1) || !actions.is<picojson::object>()) {
        TRACE_LINE(trace::kWarning, L"%S", error.c_str());
        return false;
    }
    const GuardedFile file(path);
    picojson::object document;
    if (file.Read(document) == GuardedState::Unreadable || file.IsDamaged()) return false;
    document[kRevertListKey] = actions;
    document[kActiveProfileKey] = picojson::value(ProfileName(m_activeProfile));
    return file.Write(std::move(document)) == ERROR_SUCCESS;
}

}  // namespace optimizer
