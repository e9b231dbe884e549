#include "host/service/logged_on.h"

#include <windows.h>

#include "frame/wts_memory.h"

namespace host {

namespace {

constexpr DWORD kNoSession = 0xFFFFFFFF;

/// Empty where there is none.
std::wstring TextOf(uint32_t session, WTS_INFO_CLASS which) {
    optimizer::WtsText text;
    DWORD sizeBytes = 0;
    const BOOL asked =
        WTSQuerySessionInformationW(WTS_CURRENT_SERVER_HANDLE, session, which, text.Receive(), &sizeBytes);
    return asked && text ? text.Get() : L"";
}

}  // namespace

std::set<uint32_t> Sessions() {
    std::set<uint32_t> sessions;
    optimizer::WtsSessions found;
    DWORD count = 0;
    if (WTSEnumerateSessionsW(WTS_CURRENT_SERVER_HANDLE, 0, 1, found.Receive(), &count)) {
        for (DWORD i = 0; i < count; ++i)
            sessions.insert(found.Get()[i].SessionId);
    }
    // Wine lists no sessions; it knows the console's.
    const DWORD console = WTSGetActiveConsoleSessionId();
    if (console != kNoSession) sessions.insert(console);
    return sessions;
}

std::map<uint32_t, std::wstring> LoggedOn() {
    std::map<uint32_t, std::wstring> users;
    for (const uint32_t session : Sessions()) {
        const std::wstring name = TextOf(session, WTSUserName);
        if (!name.empty()) users[session] = TextOf(session, WTSDomainName) + L"\\" + name;
    }
    return users;
}

std::vector<uint32_t> NewLogons(const std::map<uint32_t, std::wstring>& before,
                                const std::map<uint32_t, std::wstring>& after) {
    std::vector<uint32_t> sessions;
    for (const auto& [session, user] : after) {
        const auto known = before.find(session);
        if (known == before.end() || known->second != user) sessions.push_back(session);
    }
    return sessions;
}

}  // namespace host
