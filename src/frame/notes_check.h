#pragma once

#include <string>

#include <picojson.h>

namespace optimizer {

/// The members of a restore file that together are its notes.
inline constexpr const char* kRevertListKey = "Disabled";  // values to return to, by action
inline constexpr const char* kInForceKey = "in_force";     // actions to be reverted that have no values
inline constexpr const char* kOwnersKey = "owners";        // whose values these are, by action
inline constexpr const char* kAccountKey = "user";         // whose file it is, "DOMAIN\name"
inline constexpr const char* kNotesCheckKey = "notes_check";

/// What stands behind a restore file's name in that of the last good copy of it, and in that of one which was
/// of no use and waits for a person.
inline constexpr const wchar_t* kCopySuffix = L".copy";
inline constexpr const wchar_t* kDamagedSuffix = L".damaged";

/// Puts the check of its notes into a restore document, or removes it where there are no notes. It finds a
/// changed byte that leaves the document readable: the value to return to would be another one.
void StampNotes(picojson::object& document);

/// Whether the notes are those that the check was made of. A document without a check, as a person or an
/// installer writes it, is taken as it stands.
bool NotesFitCheck(const picojson::object& document);

}  // namespace optimizer
