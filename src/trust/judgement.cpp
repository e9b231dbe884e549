#include "trust/judgement.h"

#include "trust/accounts.h"

namespace optimizer {

namespace {

constexpr const wchar_t* kEverybody = L"S-1-1-0";
/// They stand for the owner of what is made or of what is protected, and owners are judged for themselves.
constexpr const wchar_t* kCreatorOwner = L"S-1-3-0";
constexpr const wchar_t* kOwnerRights = L"S-1-3-4";

constexpr DWORD kTakesOver = DELETE | WRITE_DAC | WRITE_OWNER;
constexpr DWORD kChangesFile = kTakesOver | FILE_WRITE_DATA | FILE_APPEND_DATA | FILE_WRITE_ATTRIBUTES;
constexpr DWORD kChangesFolder = kChangesFile | FILE_DELETE_CHILD;
constexpr DWORD kReplacesFolder = kTakesOver | FILE_DELETE_CHILD;

DWORD WantedRights(Place place) {
    if (place == Place::File) return kChangesFile;
    return place == Place::Folder ? kChangesFolder : kReplacesFolder;
}

/// The rights of an entry that count for the place.
DWORD CountingRights(const ACCESS_ALLOWED_ACE& entry, Place place) {
    GENERIC_MAPPING mapping = {FILE_GENERIC_READ, FILE_GENERIC_WRITE, FILE_GENERIC_EXECUTE, FILE_ALL_ACCESS};
    DWORD rights = entry.Mask;
    MapGenericMask(&rights, &mapping);
    DWORD counting = 0;
    if ((entry.Header.AceFlags & INHERIT_ONLY_ACE) == 0) counting |= rights & WantedRights(place);
    const bool goesToFiles = place == Place::Folder && (entry.Header.AceFlags & OBJECT_INHERIT_ACE) != 0;
    if (goesToFiles) counting |= rights & kChangesFile;
    return counting;
}

/// The account that an entry lets change something; empty when it lets nobody.
std::wstring AccountOfEntry(void* entry, Place place) {
    const auto* const header = static_cast<const ACE_HEADER*>(entry);
    switch (header->AceType) {
        case ACCESS_DENIED_ACE_TYPE:
        case ACCESS_DENIED_CALLBACK_ACE_TYPE:
            return {};
        case ACCESS_ALLOWED_ACE_TYPE:
        case ACCESS_ALLOWED_CALLBACK_ACE_TYPE:
            break;
        default:
            return kEverybody;  // of a kind that files don't have
    }
    auto* const allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
    return CountingRights(*allowed, place) != 0 ? SidText(&allowed->SidStart) : std::wstring();
}

}  // namespace

std::optional<Stranger> FindStranger(PSECURITY_DESCRIPTOR descriptor, Place place,
                                     const std::wstring& alsoTrusted) {
    const auto isTrusted = [&](const std::wstring& account) {
        return IsAdministrative(account) || (!alsoTrusted.empty() && account == alsoTrusted);
    };
    PSID owner = nullptr;
    BOOL ignored = FALSE;
    if (!GetSecurityDescriptorOwner(descriptor, &owner, &ignored) || !isTrusted(SidText(owner)))
        return Stranger{SidText(owner), true};
    ACL* list = nullptr;
    BOOL hasList = FALSE;
    const bool isTold = GetSecurityDescriptorDacl(descriptor, &hasList, &list, &ignored) && hasList;
    if (!isTold || list == nullptr) return Stranger{kEverybody};  // no list lets everybody in
    for (DWORD i = 0; i < list->AceCount; ++i) {
        void* entry = nullptr;
        if (!GetAce(list, i, &entry)) return Stranger{kEverybody};
        const std::wstring account = AccountOfEntry(entry, place);
        const bool counts = !account.empty() && account != kCreatorOwner && account != kOwnerRights;
        if (counts && !isTrusted(account)) return Stranger{account};
    }
    return std::nullopt;
}

}  // namespace optimizer
