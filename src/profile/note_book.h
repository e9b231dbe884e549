#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <picojson.h>

#include "actions/optimizer_action.h"
#include "frame/critical_section.h"

namespace optimizer {

class IProfilesSettings;
class INotesStore;
struct RevertNotes;

/// A note as it stands on disk.
struct Note {
    std::wstring action;
    std::wstring key;         // whose list it stands in
    picojson::value values;   // null for an action that is noted by its name
    bool isNamed = false;     // it is
    bool isAnothers = false;  // it is of use with another user only
};

/// The engine's hand on the notes: which list an action's note belongs in, and whose it is. The notes of one
/// run go to the user who was at the console as it began, whoever comes there meanwhile. Owned by
/// OptimizerProfile. The thread of the run calls it; StoreShrunk comes from the actions' threads.
class NoteBook {
public:
    /// `settings` outlives the object; null is accepted, and nothing can be noted then.
    explicit NoteBook(IProfilesSettings* settings);

    /// A run begins, for the user who is at the console now.
    void TurnToUser();
    /// Whether somebody else is at the console than the user whom the last run was for.
    bool IsAnotherUsersTurn();
    /// Whether the last run was for who is at the console, be that nobody.
    bool IsOfPresentUser();
    /// Both lists. What can't be read is left out and told in `unread`, by key with the code; nothing is
    /// stored in such a list for the rest of the run, since what there is to return to isn't known.
    std::vector<Note> Read(std::vector<std::pair<std::wstring, uint32_t>>& unread);
    /// Has on disk what the action would return to, where there is something. 0 or the error.
    [[nodiscard]] uint32_t Store(IOptimizerAction& action);
    /// As Store, of a note that is there; a note that has gone meanwhile doesn't come back.
    void StoreShrunk(IOptimizerAction& action);
    /// Takes an action's note away. 0 or the error for which it stays.
    [[nodiscard]] uint32_t Erase(const std::wstring& action);

    bool IsOfUser(IOptimizerAction& action);
    std::wstring KeyOf(IOptimizerAction& action);

private:
    std::wstring _UserKey();
    uint32_t _Change(IOptimizerAction& action, bool onlyThere);
    void _Collect(const std::wstring& key, const RevertNotes& notes, std::vector<Note>& out);

    IProfilesSettings* const m_settings;
    INotesStore* const m_store;  // the settings'
    CCriticalSection m_askLock;  // held while a note is made; taken before the store's too
    CCriticalSection m_lock ACQUIRED_AFTER(m_askLock);  // never held over a call
    std::wstring m_user GUARDED_BY(m_lock);             // the key of the run's user
    std::wstring m_account GUARDED_BY(m_lock);          // "DOMAIN\name"
    std::set<std::wstring> m_unread GUARDED_BY(m_lock);
};

}  // namespace optimizer
