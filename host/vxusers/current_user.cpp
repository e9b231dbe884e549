#include "vxusers/current_user.h"

#include <vector>

#include "frame/wts_memory.h"

namespace host {

using optimizer::KernelHandle;

namespace {

constexpr DWORD kNoSession = 0xFFFFFFFF;
// What the look-up of known folders and impersonation need.
constexpr DWORD kTokenAccess = TOKEN_QUERY | TOKEN_DUPLICATE | TOKEN_IMPERSONATE;

uint32_t TokenUser(HANDLE token, UserName& user, Sid& sid) {
    DWORD size = 0;
    GetTokenInformation(token, ::TokenUser, nullptr, 0, &size);
    if (size == 0) return GetLastError();
    std::vector<std::byte> buffer(size);
    if (!GetTokenInformation(token, ::TokenUser, buffer.data(), size, &size)) return GetLastError();
    const PSID found = reinterpret_cast<const TOKEN_USER*>(buffer.data())->User.Sid;
    const auto* const bytes = static_cast<const std::byte*>(found);
    sid.Bytes().assign(bytes, bytes + GetLengthSid(found));
    return UserOf(found, user);
}

uint32_t SessionText(DWORD session, WTS_INFO_CLASS what, std::wstring& text) {
    optimizer::WtsText memory;
    DWORD size = 0;
    if (!WTSQuerySessionInformationW(WTS_CURRENT_SERVER_HANDLE, session, what, memory.Receive(), &size)) {
        return GetLastError();
    }
    text = memory ? memory.Get() : L"";
    return ERROR_SUCCESS;
}

uint32_t SessionUser(DWORD session, UserName& user) {
    const uint32_t error = SessionText(session, WTSUserName, user.name);
    if (error != ERROR_SUCCESS) return error;
    if (user.name.empty()) return ERROR_NOT_LOGGED_ON;
    // A user without a domain is a user all the same.
    if (SessionText(session, WTSDomainName, user.domain) != ERROR_SUCCESS) user.domain.clear();
    return ERROR_SUCCESS;
}

/// The token of a session's user. Only LocalSystem gets it from the system; a process of that user himself
/// has it anyhow.
uint32_t SessionToken(DWORD session, const UserName& user, KernelHandle& token) {
    if (WTSQueryUserToken(session, token.Receive())) return ERROR_SUCCESS;
    const DWORD error = GetLastError();
    KernelHandle own;
    UserName ownUser;
    Sid ownSid;
    Sid wantedSid;
    if (!OpenProcessToken(GetCurrentProcess(), kTokenAccess, own.Receive()) ||
        TokenUser(own.Get(), ownUser, ownSid) != ERROR_SUCCESS || SidOf(user, wantedSid) != ERROR_SUCCESS ||
        !EqualSid(ownSid.Get(), wantedSid.Get())) {
        return error;
    }
    token = std::move(own);
    return ERROR_SUCCESS;
}

/// The console session first, then the caller's own, then all others.
std::vector<DWORD> Sessions() {
    std::vector<DWORD> sessions;
    const DWORD console = WTSGetActiveConsoleSessionId();
    if (console != kNoSession) sessions.push_back(console);
    DWORD own = 0;
    if (ProcessIdToSessionId(GetCurrentProcessId(), &own)) sessions.push_back(own);
    optimizer::WtsSessions found;
    DWORD count = 0;
    if (WTSEnumerateSessionsW(WTS_CURRENT_SERVER_HANDLE, 0, 1, found.Receive(), &count)) {
        for (DWORD i = 0; i < count; ++i)
            sessions.push_back(found.Get()[i].SessionId);
    }
    return sessions;
}

}  // namespace

uint32_t ReadCaller(CurrentUser& caller) {
    // As the process, since an impersonated user needn't have access to his own token.
    if (!OpenThreadToken(GetCurrentThread(), kTokenAccess, TRUE, caller.token.Receive())) {
        const DWORD error = GetLastError();
        if (error != ERROR_NO_TOKEN) return error;
        if (!OpenProcessToken(GetCurrentProcess(), kTokenAccess, caller.token.Receive())) {
            return GetLastError();
        }
    }
    Sid sid;
    return TokenUser(caller.token.Get(), caller.user, sid);
}

uint32_t ReadInteractiveName(CurrentUser& interactive) {
    const DWORD session = WTSGetActiveConsoleSessionId();
    return session != kNoSession ? SessionUser(session, interactive.user) : ERROR_NOT_LOGGED_ON;
}

uint32_t ReadInteractiveUser(CurrentUser& interactive) {
    const DWORD session = WTSGetActiveConsoleSessionId();
    if (session == kNoSession) return ERROR_NOT_LOGGED_ON;
    const uint32_t error = SessionUser(session, interactive.user);
    if (error != ERROR_SUCCESS) return error;
    // The name is worth having without the token.
    if (SessionToken(session, interactive.user, interactive.token) != ERROR_SUCCESS) {
        interactive.token.Reset();
    }
    return ERROR_SUCCESS;
}

uint32_t FindLoggedOnUser(const UserName& wanted, CurrentUser& found) {
    for (const DWORD session : Sessions()) {
        if (SessionUser(session, found.user) == ERROR_SUCCESS && IsNamedBy(found.user, wanted)) {
            return SessionToken(session, found.user, found.token);
        }
    }
    return ERROR_NOT_LOGGED_ON;
}

}  // namespace host
