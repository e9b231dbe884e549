#include "trust/accounts.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include <sddl.h>

#include "frame/handles.h"

namespace optimizer {

namespace {

constexpr const wchar_t* kSystem = L"S-1-5-18";

/// Administrators and TrustedInstaller besides.
constexpr const wchar_t* kAdministrative[] = {
    kSystem,
    L"S-1-5-32-544",
    L"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464",
};

/// An account of the machine or of a domain with the fixed number of the built-in administrator.
bool IsBuiltInAdministrator(const std::wstring& account) {
    return account.starts_with(L"S-1-5-21-") && account.ends_with(L"-500");
}

}  // namespace

std::wstring SidText(PSID sid) {
    wchar_t* text = nullptr;
    if (sid == nullptr || !ConvertSidToStringSidW(sid, &text)) return {};
    const LocalMemory owner(text);
    return text;
}

std::wstring AccountOf(HANDLE token) {
    alignas(TOKEN_USER) std::byte user[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    DWORD sizeBytes = 0;
    if (!GetTokenInformation(token, TokenUser, user, sizeof(user), &sizeBytes)) return {};
    return SidText(reinterpret_cast<const TOKEN_USER*>(user)->User.Sid);
}

std::wstring OwnAccount() {
    KernelHandle token;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.Receive())) return {};
    return AccountOf(token.Get());
}

bool RunsAsSystem() {
    static const bool isSystem = OwnAccount() == kSystem;
    return isSystem;
}

bool IsAdministrative(const std::wstring& account) {
    const bool isKnown = std::any_of(std::begin(kAdministrative), std::end(kAdministrative),
                                     [&](const wchar_t* known) { return account == known; });
    return isKnown || IsBuiltInAdministrator(account);
}

std::wstring AccountName(const std::wstring& account) {
    void* sid = nullptr;
    if (!ConvertStringSidToSidW(account.c_str(), &sid)) return account;
    const LocalMemory owner(sid);
    wchar_t name[257] = L"";  // UNLEN and its NUL
    wchar_t domain[257] = L"";
    auto nameLength = static_cast<DWORD>(std::size(name));
    auto domainLength = static_cast<DWORD>(std::size(domain));
    SID_NAME_USE use = SidTypeUnknown;
    if (!LookupAccountSidW(nullptr, sid, name, &nameLength, domain, &domainLength, &use)) return account;
    return *domain != L'\0' ? std::wstring(domain) + L"\\" + name : name;
}

}  // namespace optimizer
