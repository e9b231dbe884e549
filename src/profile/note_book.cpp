#include "profile/note_book.h"

#include <utility>

#include <windows.h>

#include "frame/text.h"
#include "frame/trace.h"
#include "frame/users_library.h"
#include "settings/iprofiles_settings.h"

namespace optimizer {

NoteBook::NoteBook(IProfilesSettings* settings)
    : m_settings(settings), m_store(settings != nullptr ? &settings->Notes() : nullptr) {}

void NoteBook::TurnToUser() {
    TRACE_SCOPE("NoteBook::TurnToUser");
    std::wstring account;
    const std::wstring user = m_store != nullptr ? m_store->UserKey() : L"";
    GetCurrentUserName(account);
    CriticalSectionGuard guard(m_lock);
    m_unread.clear();
    // While nobody is there, what the last one's actions changed goes back in that one's name.
    if (user.empty()) return;
    m_account = account;
    m_user = user;
}

bool NoteBook::IsAnotherUsersTurn() {
    const std::wstring user = m_store != nullptr ? m_store->UserKey() : L"";
    return !user.empty() && user != _UserKey();
}

bool NoteBook::IsOfPresentUser() {
    return m_store == nullptr || m_store->UserKey() == _UserKey();
}

std::wstring NoteBook::_UserKey() {
    CriticalSectionGuard guard(m_lock);
    return m_user;
}

/// What concerns all accounts at once is the machine's, whoever chose the profile.
std::wstring NoteBook::KeyOf(IOptimizerAction& action) {
    const bool isMachines =
        action.IsNotedByName() || (m_settings != nullptr && m_settings->IsSystemAction(action.GetName()));
    return isMachines ? INotesStore::kMachine : _UserKey();
}

bool NoteBook::IsOfUser(IOptimizerAction& action) {
    return action.BelongsToUser() || KeyOf(action) != INotesStore::kMachine;
}

std::vector<Note> NoteBook::Read(std::vector<std::pair<std::wstring, uint32_t>>& unread) {
    TRACE_SCOPE("NoteBook::Read");
    std::vector<Note> found;
    if (m_store == nullptr) return found;
    for (const std::wstring& key : {std::wstring(INotesStore::kMachine), _UserKey()}) {
        RevertNotes notes;
        const NotesState state = m_store->ReadNotes(key, notes);
        _Collect(key, notes, found);
        if (state == NotesState::Ok) continue;
        unread.emplace_back(key, state == NotesState::Damaged ? ERROR_FILE_CORRUPT : ERROR_LOCK_VIOLATION);
        CriticalSectionGuard guard(m_lock);
        m_unread.insert(key);
    }
    return found;
}

void NoteBook::_Collect(const std::wstring& key, const RevertNotes& notes, std::vector<Note>& out) {
    CriticalSectionGuard guard(m_lock);
    for (const auto& [action, values] : notes.values) {
        const auto owner = notes.owners.find(action);
        const bool isAnothers = owner != notes.owners.end() && Widen(owner->second) != m_account;
        out.push_back({.action = Widen(action), .key = key, .values = values, .isAnothers = isAnothers});
    }
    for (const std::string& action : notes.inForce)
        out.push_back({.action = Widen(action), .key = key, .values = {}, .isNamed = true});
}

uint32_t NoteBook::Store(IOptimizerAction& action) {
    TRACE_SCOPE("NoteBook::Store");
    return _Change(action, false);
}

void NoteBook::StoreShrunk(IOptimizerAction& action) {
    TRACE_SCOPE("NoteBook::StoreShrunk");
    const uint32_t error = _Change(action, true);
    if (error == ERROR_SUCCESS) return;
    TRACE_LINE(trace::kWarning, L"%s: a note still names what is back: 0x%x", action.GetName(), error);
}

uint32_t NoteBook::_Change(IOptimizerAction& action, bool onlyThere) {
    TRACE_SCOPE("NoteBook::_Change");
    // What is a user's own is noted and changed while that user is there, or not at all: the action would
    // change somebody else's.
    if (action.BelongsToUser() && !onlyThere && !IsOfPresentUser()) return ERROR_NO_SUCH_LOGON_SESSION;
    // An action hands its values to one thread at a time, and the newer ones have to be stored last.
    CriticalSectionGuard oneAtATime(m_askLock);
    IOptimizerActionSettings* const found = action.GetRevertParameters();
    if (found == nullptr && !action.IsNotedByName()) return ERROR_SUCCESS;
    if (m_store == nullptr) return ERROR_GEN_FAILURE;
    picojson::value values;
    if (found != nullptr) found->ToJson(&values);
    const std::string name = Narrow(action.GetName());
    const std::wstring key = KeyOf(action);
    std::string owner;
    {
        CriticalSectionGuard guard(m_lock);
        if (m_unread.contains(key)) return ERROR_LOCK_VIOLATION;
        if (action.BelongsToUser() && key == INotesStore::kMachine) owner = Narrow(m_account);
    }
    return m_store->ChangeNotes(key, [&](RevertNotes& notes) {
        if (onlyThere && !notes.Contains(name)) return false;
        if (found == nullptr) return notes.inForce.insert(name).second;
        notes.values[name] = values;
        if (!owner.empty()) notes.owners[name] = owner;
        return true;
    });
}

/// From both lists: an action may have changed sides since its note was made.
uint32_t NoteBook::Erase(const std::wstring& action) {
    TRACE_SCOPE("NoteBook::Erase");
    if (m_store == nullptr) return ERROR_GEN_FAILURE;
    std::wstring account;
    {
        CriticalSectionGuard guard(m_lock);
        account = m_account;
    }
    uint32_t result = ERROR_SUCCESS;
    for (const std::wstring& key : {std::wstring(INotesStore::kMachine), _UserKey()}) {
        if (key.empty()) continue;
        const uint32_t error = m_store->ChangeNotes(key, [&](RevertNotes& notes) {
            const auto owner = notes.owners.find(Narrow(action));
            if (owner != notes.owners.end() && Widen(owner->second) != account) return false;
            notes.Erase(Narrow(action));
            return true;
        });
        // A list that can't be read may hold the note; one that is damaged waits for a person in any case.
        if (error != ERROR_SUCCESS && error != ERROR_FILE_CORRUPT) result = error;
    }
    return result;
}

}  // namespace optimizer
