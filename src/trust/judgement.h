// Who could change a file or a folder, told from its security descriptor alone.
#pragma once

#include <optional>
#include <string>

#include <windows.h>

namespace optimizer {

enum class Place {
    File,
    Folder,       // and the files that will be made in it
    FolderAbove,  // only what would put another folder in its place, or in that of what is in it
};

/// Somebody who isn't trusted and could change what the descriptor protects.
struct Stranger {
    std::wstring account;  // as trust/accounts.h writes it
    bool isOwner = false;  // who may give itself every other right
};

/// The first one that the descriptor tells; nothing when there is none. Administrators and SYSTEM are
/// trusted, and so is `alsoTrusted`, an account, unless it is empty. A right that a denial takes back counts
/// all the same: what is told is safe, and a list without denials is easier to read.
std::optional<Stranger> FindStranger(PSECURITY_DESCRIPTOR descriptor, Place place,
                                     const std::wstring& alsoTrusted);

}  // namespace optimizer
