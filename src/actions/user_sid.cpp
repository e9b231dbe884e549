#include "actions/user_sid.h"

#include "frame/handles.h"
#include "frame/trace.h"
#include "frame/users_library.h"
#include "frame/wts_memory.h"

#include <sddl.h>

namespace optimizer {

namespace {

constexpr size_t kLongestAccount = 1024;  // characters
constexpr DWORD kBufferBytes = 1024;

/// The user's name as the user sees it. Impersonates for that one call.
bool ReadCurrentUser(UserRecord& record) {
    VxUsersLibrary& users = VxUsersLibrary::Instance();
    // A record of its own: not every users library bears a null one.
    UserRecord impersonated;
    if (!users.Fill(VxUsersLibrary::kSrvImpersonateCurrentUser, impersonated)) return false;
    const bool told = users.Fill(VxUsersLibrary::kGetCurrentUserInfoBasic, record);
    // Also when the name couldn't be had: the thread must not stay somebody else.
    users.Call<RevertToSelfFunction>(VxUsersLibrary::kSrvRevertToSelf, uint32_t{0});
    return told && record.name[0] != 0;
}

/// The domain of the console's session; empty when there is none.
std::wstring ConsoleDomain() {
    WtsText domain;
    DWORD sizeBytes = 0;
    const bool told = WTSQuerySessionInformationW(WTS_CURRENT_SERVER_HANDLE, WTSGetActiveConsoleSessionId(),
                                                  WTSDomainName, domain.Receive(), &sizeBytes) != FALSE;
    return told && domain ? domain.Get() : L"";
}

}  // namespace

uint32_t LookUpSid(const std::wstring& account, std::wstring& sid) {
    TRACE_SCOPE("LookUpSid");
    alignas(SID) BYTE buffer[kBufferBytes] = {};
    wchar_t domain[kBufferBytes / sizeof(wchar_t)] = L"";
    DWORD sizeBytes = sizeof(buffer);
    DWORD domainLength = kBufferBytes / sizeof(wchar_t);
    SID_NAME_USE use = SidTypeUnknown;
    const std::wstring name = account.substr(0, kLongestAccount);
    if (LookupAccountNameW(nullptr, name.c_str(), buffer, &sizeBytes, domain, &domainLength, &use) != TRUE) {
        const DWORD error = GetLastError();
        TRACE_LINE(trace::kWarning, L"LookupAccountName %s failed 0x%x", name.c_str(), error);
        return ERROR_GEN_FAILURE;
    }
    LocalMemory text;
    if (!ConvertSidToStringSidW(buffer, reinterpret_cast<wchar_t**>(text.Receive())) || !text) {
        return ERROR_GEN_FAILURE;
    }
    sid = static_cast<const wchar_t*>(text.Get());
    return ERROR_SUCCESS;
}

uint32_t FindCurrentUserSid(std::wstring& sid) {
    TRACE_SCOPE("FindCurrentUserSid");
    UserRecord user;
    if (!ReadCurrentUser(user)) return ERROR_GEN_FAILURE;
    const std::wstring domain = ConsoleDomain();
    return LookUpSid(domain.empty() ? user.name : domain + L"\\" + user.name, sid);
}

}  // namespace optimizer
