#include "profile/other_users.h"

#include <windows.h>

#include "actions/user_hive.h"
#include "actions/user_sid.h"
#include "frame/text.h"
#include "frame/trace.h"
#include "frame/users_library.h"

namespace optimizer {

void OtherUsers::PutBack() {
    TRACE_SCOPE("OtherUsers::PutBack");
    const std::wstring present = m_store.UserKey();
    std::vector<std::wstring> keys = m_store.NotedUsers();
    // The machine's list may hold values of users too.
    keys.emplace_back(INotesStore::kMachine);
    for (const std::wstring& key : keys) {
        if (key == present) continue;
        RevertNotes notes;
        if (const NotesState state = m_store.ReadNotes(key, notes); state != NotesState::Ok) {
            const uint32_t code = state == NotesState::Damaged ? ERROR_FILE_CORRUPT : ERROR_LOCK_VIOLATION;
            // Those of the machine have been told by the run before.
            if (key != INotesStore::kMachine) m_report.Add({"read", L"", key, code});
        }
        for (const auto& note : notes.values) {
            const bool isOthers = key != INotesStore::kMachine || notes.owners.contains(note.first);
            if (isOthers) _PutBack(key, note.first, notes);
        }
    }
}

void OtherUsers::_PutBack(const std::wstring& key, const std::string& name, const RevertNotes& notes) {
    TRACE_SCOPE("OtherUsers::_PutBack");
    const auto owner = notes.owners.find(name);
    const std::wstring account = owner != notes.owners.end() ? Widen(owner->second) : m_store.AccountOf(key);
    std::wstring present;
    if (key == INotesStore::kMachine && GetCurrentUserName(present) && account == present) return;
    uint32_t error = ERROR_NOT_FOUND;
    if (const ActionPointer action = m_lists.Make(Widen(name), notes.values.at(name))) {
        error = _ActAs(account, *action);
    }
    if (error == ERROR_SUCCESS) {
        error = m_store.ChangeNotes(key, [&](RevertNotes& left) {
            left.Erase(name);
            return true;
        });
    }
    m_report.Forget(Widen(name), key);
    if (error != ERROR_SUCCESS) m_report.Add({"putBack", Widen(name), key, error});
}

uint32_t OtherUsers::_ActAs(const std::wstring& account, IOptimizerAction& action) {
    TRACE_SCOPE("OtherUsers::_ActAs");
    if (!action.BelongsToUser()) return action.PutBack();
    std::wstring sid;
    if (account.empty() || LookUpSid(account, sid) != ERROR_SUCCESS) return ERROR_NO_SUCH_USER;
    const UserHive hive(sid);
    if (hive.Error() != ERROR_SUCCESS) return hive.Error();
    return action.ActFor(sid) ? action.PutBack() : uint32_t{ERROR_NO_SUCH_LOGON_SESSION};
}

}  // namespace optimizer
