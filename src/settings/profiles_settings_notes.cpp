// The notes in the restore files.
#include <filesystem>
#include <set>
#include <system_error>
#include <utility>

#include <windows.h>

#include "frame/json.h"
#include "frame/notes_check.h"
#include "frame/text.h"
#include "frame/trace.h"
#include "frame/users_library.h"
#include "settings/guarded_file.h"
#include "settings/profile_names.h"
#include "settings/profiles_settings.h"

namespace optimizer {

namespace {

constexpr const char* kActiveProfileKey = "active_profile";
constexpr const wchar_t* kRestoreSuffix = L"_restore_profile.json";

NotesState ToNotesState(GuardedState state, const GuardedFile& file) {
    if (state == GuardedState::Unreadable) return NotesState::Unreadable;
    return state == GuardedState::Damaged || file.IsDamaged() ? NotesState::Damaged : NotesState::Ok;
}

}  // namespace

std::wstring CProfilesSettings::UserKey() {
    TRACE_SCOPE("CProfilesSettings::UserKey");
    std::wstring file;
    if (!m_restore.GetUserFile(file)) return L"";
    const std::wstring name = file.substr(file.find_last_of(L'\\') + 1);
    return name.substr(0, name.size() - std::wstring(kRestoreSuffix).size());
}

std::wstring CProfilesSettings::_RestoreFile(const std::wstring& key) const {
    const size_t folderEnd = m_restore.systemFile.find_last_of(L'\\') + 1;
    return m_restore.systemFile.substr(0, folderEnd) + key + kRestoreSuffix;
}

std::vector<std::wstring> CProfilesSettings::NotedUsers() {
    TRACE_SCOPE("CProfilesSettings::NotedUsers");
    std::set<std::wstring> keys;
    std::error_code ignored;
    // A file whose copy alone is left counts too, and so does one that is damaged.
    auto entry = std::filesystem::directory_iterator(m_restore.folder, ignored);
    for (; entry != std::filesystem::directory_iterator(); entry.increment(ignored)) {
        const std::wstring name = entry->path().filename().wstring();
        const size_t suffix = name.find(kRestoreSuffix);
        if (suffix == std::wstring::npos) continue;
        const std::wstring key = name.substr(0, suffix);
        if (key != kMachine) keys.insert(key);
    }
    return {keys.begin(), keys.end()};
}

NotesState CProfilesSettings::ReadNotes(const std::wstring& key, RevertNotes& notes) {
    TRACE_SCOPE("CProfilesSettings::ReadNotes");
    notes = {};
    if (key.empty()) return NotesState::Ok;
    CriticalSectionGuard guard(m_lock);
    const GuardedFile file(_RestoreFile(key));
    picojson::object document;
    const GuardedState state = file.Read(document);
    if (state == GuardedState::Ok) notes = RevertNotes::FromDocument(document);
    return ToNotesState(state, file);
}

uint32_t CProfilesSettings::ChangeNotes(const std::wstring& key,
                                        const std::function<bool(RevertNotes&)>& change) {
    TRACE_SCOPE("CProfilesSettings::ChangeNotes");
    if (key.empty()) return ERROR_NO_SUCH_USER;
    CriticalSectionGuard guard(m_lock);
    const GuardedFile file(_RestoreFile(key));
    picojson::object document;
    switch (ToNotesState(file.Read(document), file)) {
        case NotesState::Unreadable:
            return ERROR_LOCK_VIOLATION;
        case NotesState::Damaged:
            return ERROR_FILE_CORRUPT;
        case NotesState::Ok:
            break;
    }
    const RevertNotes before = RevertNotes::FromDocument(document);
    RevertNotes notes = before;
    if (!change(notes)) return ERROR_SUCCESS;
    if (notes == before && !m_unsure.contains(key)) return ERROR_SUCCESS;
    const uint32_t error = _StoreNotes(key, document, notes);
    if (error != ERROR_SUCCESS) {
        m_unsure.insert(key);
    } else {
        m_unsure.erase(key);
    }
    return error;
}

/// The active profile goes with the list, as last loaded or stored, unless it is another user's by now.
uint32_t CProfilesSettings::_StoreNotes(const std::wstring& key, picojson::object& document,
                                        const RevertNotes& notes) {
    TRACE_SCOPE("CProfilesSettings::_StoreNotes");
    const std::wstring path = _RestoreFile(key);
    notes.ToDocument(document);
    const bool isUsers = key != kMachine;
    if (!isUsers || path == m_activeUserFile) {
        document[kActiveProfileKey] = picojson::value(ProfileName(m_activeProfile));
    }
    // An uninstall finds the user by it, since the file's name can't be taken apart again.
    std::wstring account;
    if (isUsers && !document.contains(kAccountKey) && key == UserKey() && GetCurrentUserName(account)) {
        document[kAccountKey] = picojson::value(Narrow(account));
    }
    const uint32_t error = GuardedFile(path).Write(std::move(document));
    if (error != ERROR_SUCCESS)
        TRACE_LINE(trace::kError, L"%s: a note was not stored: 0x%x", path.c_str(), error);
    return error;
}

std::wstring CProfilesSettings::AccountOf(const std::wstring& key) {
    TRACE_SCOPE("CProfilesSettings::AccountOf");
    CriticalSectionGuard guard(m_lock);
    picojson::object document;
    if (GuardedFile(_RestoreFile(key)).Read(document) != GuardedState::Ok) return L"";
    const picojson::value whole(std::move(document));
    return Widen(json::ToText(json::Find(whole, kAccountKey)).value_or(""));
}

}  // namespace optimizer
