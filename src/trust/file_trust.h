// Which files a process of SYSTEM takes for its own, and which folders.
//
// Whoever can change a file that SYSTEM goes by has SYSTEM do what it likes. So that account neither reads
// nor writes a settings file that others than administrators could change, nor one that is a link: it is left
// as it is until a person has seen to it. Any other account goes by whatever it can read, for it gives away
// no rights but its own.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <windows.h>

#include "trust/judgement.h"

namespace optimizer {

/// What CreateFileW takes besides, so that SYSTEM meets a link and not what the link names.
DWORD FlagsAgainstLinks();

/// Why this process doesn't go by a file, in one sentence that says how to mend it; empty when it does.
/// `file` is open with FlagsAgainstLinks, `path` is for the sentence. Throws std::bad_alloc.
std::wstring WhyUnused(HANDLE file, const std::wstring& path);
/// The same of a file that is only written to, whose content gives no orders.
std::wstring WhyNotWritten(HANDLE file, const std::wstring& path);

/// The sentences of a folder and of all files in it; nothing unless this process is SYSTEM's.
std::vector<std::wstring> UnusedIn(const std::wstring& folder);

/// Somebody who could change the files in a folder, or put others in their place.
struct FolderStranger {
    std::wstring folder;  // where that could be done: the folder itself, one above, or a file in it
    Place place = Place::Folder;
    Stranger stranger;
};
/// Judges the folder, those above it and the files in it, with the account of this process among the trusted.
/// One that can't be looked at counts as everybody's.
std::optional<FolderStranger> FindFolderStranger(const std::wstring& folder);

/// "PC\Ann owns it and is no administrator; ..." with the command that mends it.
std::wstring StrangerSentence(const std::wstring& path, Place place, const Stranger& stranger);

/// Lets only administrators and SYSTEM have a settings folder and what will be made in it; users may look at
/// the names, and read the files of the names in `readable`. 0 or the system's error.
uint32_t ProtectSettings(const std::wstring& folder, const std::vector<std::wstring>& readable);

}  // namespace optimizer
