#pragma once

#include <functional>
#include <string>
#include <vector>

#include "frame/revert_notes.h"

namespace optimizer {

enum class NotesState {
    Ok,          // also where nothing is noted
    Unreadable,  // somebody holds the file: the notes can't be told now
    Damaged,     // they are lost until a person sees to it
};

/// The notes of what there is to return to: the machine's and each user's, in the restore files. Whose they
/// are is told by a key. Any thread; each operation is one for all others, file access included.
class INotesStore {
public:
    /// The key of the machine's notes. No user has it.
    static constexpr const wchar_t* kMachine = L"system";

    /// The interactive user's; empty while nobody is logged on.
    virtual std::wstring UserKey() = 0;
    /// All users who have a restore file.
    virtual std::vector<std::wstring> NotedUsers() = 0;
    virtual NotesState ReadNotes(const std::wstring& key, RevertNotes& notes) = 0;
    /// Lets `change` have the notes and has them on disk at the return when it says true. 0, or the error for
    /// which they are as they were: 1392 (ERROR_FILE_CORRUPT) where they are damaged, 33
    /// (ERROR_LOCK_VIOLATION) where they can't be read, 1317 (ERROR_NO_SUCH_USER) for an empty key, or the
    /// system's error.
    [[nodiscard]] virtual uint32_t ChangeNotes(const std::wstring& key,
                                               const std::function<bool(RevertNotes&)>& change) = 0;
    /// The account, "DOMAIN\name", that a user's notes were made for; empty where that isn't told.
    virtual std::wstring AccountOf(const std::wstring& key) = 0;

protected:
    ~INotesStore() = default;
};

}  // namespace optimizer
