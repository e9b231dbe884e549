#include "vxusers/accounts.h"

#include <lm.h>
#include <sddl.h>

#include "frame/handles.h"

namespace host {

namespace {

constexpr wchar_t kProfileList[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList";

struct NetBufferTraits {
    using Type = LPBYTE;
    static Type Invalid() { return nullptr; }
    static void Close(Type buffer) { NetApiBufferFree(buffer); }
};
using NetBuffer = optimizer::UniqueHandle<NetBufferTraits>;

bool EqualNames(const std::wstring& left, const std::wstring& right) {
    return CompareStringOrdinal(left.c_str(), static_cast<int>(left.size()), right.c_str(),
                                static_cast<int>(right.size()), TRUE) == CSTR_EQUAL;
}

std::wstring ComputerName() {
    wchar_t name[MAX_COMPUTERNAME_LENGTH + 1] = L"";
    DWORD length = MAX_COMPUTERNAME_LENGTH + 1;
    return GetComputerNameW(name, &length) ? std::wstring(name, length) : std::wstring();
}

uint32_t EnumerateAccounts(std::vector<UserName>& accounts) {
    const std::wstring domain = ComputerName();
    DWORD resume = 0;
    for (;;) {
        NetBuffer buffer;
        DWORD count = 0;
        DWORD total = 0;
        const NET_API_STATUS status = NetUserEnum(nullptr, 1, FILTER_NORMAL_ACCOUNT, buffer.Receive(),
                                                  MAX_PREFERRED_LENGTH, &count, &total, &resume);
        if (status != NERR_Success && status != ERROR_MORE_DATA) return status;
        const auto* const found = reinterpret_cast<const USER_INFO_1*>(buffer.Get());
        for (DWORD i = 0; found != nullptr && i < count; ++i) {
            if ((found[i].usri1_flags & UF_ACCOUNTDISABLE) == 0) {
                accounts.push_back({found[i].usri1_name, domain});
            }
        }
        if (status == NERR_Success) return ERROR_SUCCESS;
        if (count == 0) return status;  // more is said to come, and nothing does
    }
}

void ProfileOwners(std::vector<UserName>& users) {
    optimizer::RegistryKey key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kProfileList, 0, KEY_READ, key.Receive()) != ERROR_SUCCESS) return;
    constexpr DWORD kLongestKeyName = 256;
    wchar_t name[kLongestKeyName];
    for (DWORD index = 0;; ++index) {
        DWORD length = kLongestKeyName;
        if (RegEnumKeyExW(key.Get(), index, name, &length, nullptr, nullptr, nullptr, nullptr) != 0) return;
        optimizer::LocalMemory sid;
        UserName user;
        if (ConvertStringSidToSidW(name, sid.Receive()) && UserOf(sid.Get(), user) == ERROR_SUCCESS) {
            users.push_back(user);
        }
    }
}

}  // namespace

bool IsNamedBy(const UserName& user, const UserName& wanted) {
    return EqualNames(user.name, wanted.name) &&
           (wanted.domain.empty() || EqualNames(user.domain, wanted.domain));
}

uint32_t SidOf(const UserName& user, Sid& sid) {
    const std::wstring account = user.domain.empty() ? user.name : user.domain + L"\\" + user.name;
    DWORD sidSize = 0;
    DWORD domainLength = 0;
    SID_NAME_USE use = SidTypeUnknown;
    LookupAccountNameW(nullptr, account.c_str(), nullptr, &sidSize, nullptr, &domainLength, &use);
    const DWORD error = GetLastError();
    if (sidSize == 0) return error != ERROR_SUCCESS ? error : ERROR_NONE_MAPPED;
    sid.Bytes().resize(sidSize);
    std::wstring domain(domainLength, L'\0');
    if (!LookupAccountNameW(nullptr, account.c_str(), sid.Get(), &sidSize, domain.data(), &domainLength,
                            &use)) {
        return GetLastError();
    }
    return use == SidTypeUser ? ERROR_SUCCESS : ERROR_NO_SUCH_USER;
}

uint32_t UserOf(PSID sid, UserName& user) {
    DWORD nameLength = 0;
    DWORD domainLength = 0;
    SID_NAME_USE use = SidTypeUnknown;
    LookupAccountSidW(nullptr, sid, nullptr, &nameLength, nullptr, &domainLength, &use);
    const DWORD error = GetLastError();
    if (nameLength == 0) return error != ERROR_SUCCESS ? error : ERROR_NONE_MAPPED;
    std::wstring name(nameLength, L'\0');
    std::wstring domain(domainLength, L'\0');
    if (!LookupAccountSidW(nullptr, sid, name.data(), &nameLength, domain.data(), &domainLength, &use)) {
        return GetLastError();
    }
    if (use != SidTypeUser) return ERROR_NO_SUCH_USER;
    name.resize(nameLength);  // both lengths come back without the NUL
    domain.resize(domainLength);
    user = {name, domain};
    return ERROR_SUCCESS;
}

std::wstring SidText(PSID sid) {
    optimizer::LocalMemory text;
    if (!ConvertSidToStringSidW(sid, reinterpret_cast<wchar_t**>(text.Receive()))) return {};
    return static_cast<const wchar_t*>(text.Get());
}

std::vector<UserName> LocalAccounts() {
    std::vector<UserName> users;
    if (EnumerateAccounts(users) != ERROR_SUCCESS) {
        users.clear();
        ProfileOwners(users);
    }
    // One name that the system can't resolve would spoil the whole list for a caller who needs identifiers.
    std::erase_if(users, [](const UserName& user) {
        Sid sid;
        return SidOf(user, sid) != ERROR_SUCCESS;
    });
    return users;
}

}  // namespace host
