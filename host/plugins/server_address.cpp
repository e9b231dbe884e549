#include "plugins/server_address.h"

#include <windows.h>

#include <winhttp.h>

namespace host {

namespace {

bool IsThisMachine(const std::wstring& name) {
    for (const wchar_t* const own : {L"localhost", L"127.0.0.1", L"::1", L"[::1]"}) {
        if (_wcsicmp(name.c_str(), own) == 0) return true;
    }
    return false;
}

}  // namespace

bool ParseServerAddress(const std::wstring& text, ServerAddress& out) {
    URL_COMPONENTS parts = {};
    parts.dwStructSize = sizeof(parts);
    constexpr DWORD kWanted = ~DWORD{0};  // pointers into the text, and lengths
    parts.dwHostNameLength = kWanted;
    parts.dwUrlPathLength = kWanted;
    parts.dwExtraInfoLength = kWanted;
    parts.dwUserNameLength = kWanted;
    if (!WinHttpCrackUrl(text.c_str(), static_cast<DWORD>(text.size()), 0, &parts)) return false;
    if (parts.dwHostNameLength == 0 || parts.dwUserNameLength != 0 || parts.dwExtraInfoLength != 0) {
        return false;
    }
    out.name.assign(parts.lpszHostName, parts.dwHostNameLength);
    out.port = parts.nPort;
    out.isSecure = parts.nScheme == INTERNET_SCHEME_HTTPS;
    out.isThisMachine = IsThisMachine(out.name);
    out.path.assign(parts.lpszUrlPath, parts.dwUrlPathLength);
    if (!out.path.ends_with(L'/')) out.path += L'/';
    return out.isSecure || out.isThisMachine;
}

}  // namespace host
