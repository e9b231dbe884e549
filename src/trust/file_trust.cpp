#include "trust/file_trust.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include <aclapi.h>
#include <sddl.h>

#include "frame/handles.h"
#include "frame/text.h"
#include "trust/accounts.h"

namespace optimizer {

namespace {

constexpr const wchar_t* kRestoreMark = L"_restore_profile.json";
constexpr SECURITY_INFORMATION kWhoMay = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;

std::wstring Quoted(const std::wstring& path) {
    std::wstring name = path;
    if (name.size() > 3 && name.back() == L'\\') name.pop_back();  // icacls takes no final back-slash
    return L"\"" + name + L"\"";
}

/// Empty for a file that is none; a second name for it is one as well, in a folder that others may write.
std::wstring WhyLink(HANDLE file, const std::wstring& path) {
    BY_HANDLE_FILE_INFORMATION information = {};
    if (!GetFileInformationByHandle(file, &information))
        return path + L" isn't used, for it can't be looked at: " + SystemErrorText(GetLastError()) + L".";
    const bool isLink = (information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    if (isLink || information.nNumberOfLinks > 1) {
        return path +
               L" isn't used, since it is a link or a file with a second name; put a file of its own "
               L"in its place.";
    }
    return {};
}

std::wstring Judged(DWORD error, PSECURITY_DESCRIPTOR descriptor, const std::wstring& path, Place place) {
    if (error != ERROR_SUCCESS)
        return path + L" isn't used, for nobody tells who may change it: " + SystemErrorText(error) + L".";
    const auto stranger = FindStranger(descriptor, place, L"");
    return stranger ? StrangerSentence(path, place, *stranger) : std::wstring();
}

FileHandle OpenToLook(const std::wstring& path) {
    return FileHandle(CreateFileW(path.c_str(), READ_CONTROL | FILE_READ_ATTRIBUTES,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FlagsAgainstLinks(), nullptr));
}

std::optional<Stranger> StrangerAt(const std::wstring& folder, Place place) {
    LocalMemory descriptor;
    const DWORD error = GetNamedSecurityInfoW(folder.c_str(), SE_FILE_OBJECT, kWhoMay, nullptr, nullptr,
                                              nullptr, nullptr, descriptor.Receive());
    if (error != ERROR_SUCCESS) return Stranger{L"S-1-1-0"};
    return FindStranger(descriptor.Get(), place, OwnAccount());
}

uint32_t SetAccess(const std::wstring& path, const wchar_t* list) {
    LocalMemory descriptor;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(list, SDDL_REVISION_1, descriptor.Receive(),
                                                              nullptr)) {
        return GetLastError();
    }
    PSID owner = nullptr;
    ACL* entries = nullptr;
    BOOL ignored = FALSE;
    GetSecurityDescriptorOwner(descriptor.Get(), &owner, &ignored);
    GetSecurityDescriptorDacl(descriptor.Get(), &ignored, &entries, &ignored);
    std::wstring name = path;
    return SetNamedSecurityInfoW(name.data(), SE_FILE_OBJECT, kWhoMay | PROTECTED_DACL_SECURITY_INFORMATION,
                                 owner, nullptr, entries, nullptr);
}

}  // namespace

DWORD FlagsAgainstLinks() {
    return RunsAsSystem() ? FILE_FLAG_OPEN_REPARSE_POINT : 0;
}

std::wstring WhyNotWritten(HANDLE file, const std::wstring& path) {
    return RunsAsSystem() ? WhyLink(file, path) : std::wstring();
}

std::wstring WhyUnused(HANDLE file, const std::wstring& path) {
    if (!RunsAsSystem()) return {};
    std::wstring why = WhyLink(file, path);
    if (!why.empty()) return why;
    LocalMemory descriptor;
    const DWORD error = GetSecurityInfo(file, SE_FILE_OBJECT, kWhoMay, nullptr, nullptr, nullptr, nullptr,
                                        descriptor.Receive());
    return Judged(error, descriptor.Get(), path, Place::File);
}

std::vector<std::wstring> UnusedIn(const std::wstring& folder) {
    std::vector<std::wstring> sentences;
    if (!RunsAsSystem()) return sentences;
    const auto judge = [&](const std::wstring& path, Place place) {
        const FileHandle file = OpenToLook(path);
        LocalMemory descriptor;
        const DWORD error = file ? GetSecurityInfo(file.Get(), SE_FILE_OBJECT, kWhoMay, nullptr, nullptr,
                                                   nullptr, nullptr, descriptor.Receive())
                                 : GetLastError();
        std::wstring why = file && place == Place::File ? WhyLink(file.Get(), path) : std::wstring();
        if (why.empty()) why = Judged(error, descriptor.Get(), path, place);
        if (!why.empty()) sentences.push_back(std::move(why));
    };
    judge(folder, Place::Folder);
    std::error_code ignored;
    auto entry = std::filesystem::directory_iterator(folder, ignored);
    for (; entry != std::filesystem::directory_iterator(); entry.increment(ignored)) {
        if (!entry->is_directory(ignored)) judge(entry->path().wstring(), Place::File);
    }
    return sentences;
}

std::optional<FolderStranger> FindFolderStranger(const std::wstring& folder) {
    const std::filesystem::path path(folder);
    const std::filesystem::path own = path.has_filename() ? path : path.parent_path();
    for (std::filesystem::path at = own;; at = at.parent_path()) {
        const Place place = at == own ? Place::Folder : Place::FolderAbove;
        if (const auto stranger = StrangerAt(at.wstring(), place))
            return FolderStranger{at.wstring(), place, *stranger};
        if (at == at.parent_path()) break;
    }
    // Files keep their own lists when they are moved here from a folder of a user's.
    std::error_code ignored;
    auto entry = std::filesystem::directory_iterator(own, ignored);
    for (; entry != std::filesystem::directory_iterator(); entry.increment(ignored)) {
        if (entry->is_directory(ignored)) continue;
        const std::wstring file = entry->path().wstring();
        if (const auto stranger = StrangerAt(file, Place::File))
            return FolderStranger{file, Place::File, *stranger};
    }
    return std::nullopt;
}

std::wstring StrangerSentence(const std::wstring& path, Place place, const Stranger& stranger) {
    const std::wstring name = stranger.account.empty() ? L"nobody known" : AccountName(stranger.account);
    const std::wstring quoted = Quoted(path);
    std::wstring mend = L"icacls " + quoted + L" /setowner *S-1-5-32-544";
    if (!stranger.isOwner) {
        const std::wstring inherit = place == Place::File ? L"" : L"(OI)(CI)";
        // Notes tell of a user's habits, and who could hold their file would keep the machine from coming
        // back.
        const bool isNotes = path.find(kRestoreMark) != std::wstring::npos;
        mend = L"icacls " + quoted + L" /inheritance:r /remove *" + stranger.account +
               L" /grant:r *S-1-5-18:" + inherit + L"F *S-1-5-32-544:" + inherit + L"F" +
               (isNotes ? L"" : L" *S-1-5-32-545:" + inherit + L"RX");
    }
    return path + (place == Place::File ? L" isn't used, since " : L" isn't safe, since ") + name +
           (stranger.isOwner ? L" owns it" : L" may change it") +
           L" and is no administrator; mend it with: " + mend;
}

uint32_t ProtectSettings(const std::wstring& folder, const std::vector<std::wstring>& readable) {
    // Users see names, which tells them nothing new, and nothing of what will be made here.
    constexpr const wchar_t* kFolder = L"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;;0x1200a9;;;BU)";
    constexpr const wchar_t* kClosed = L"O:BAD:P(A;;FA;;;SY)(A;;FA;;;BA)";
    constexpr const wchar_t* kReadable = L"O:BAD:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FR;;;BU)";
    uint32_t error = SetAccess(folder, kFolder);
    std::error_code ignored;
    auto entry = std::filesystem::directory_iterator(folder, ignored);
    for (; entry != std::filesystem::directory_iterator(); entry.increment(ignored)) {
        if (entry->is_directory(ignored)) continue;
        const std::wstring name = entry->path().filename().wstring();
        const bool isReadable = std::find(readable.begin(), readable.end(), name) != readable.end();
        const uint32_t ofFile = SetAccess(entry->path().wstring(), isReadable ? kReadable : kClosed);
        if (error == ERROR_SUCCESS) error = ofFile;
    }
    return error;
}

}  // namespace optimizer
