#include "vxusers/app_data.h"

#include <windows.h>
#include <shlobj.h>

namespace host {

namespace {

constexpr wchar_t kProfileList[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList\\";
constexpr wchar_t kShellFolders[] =
    L"\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders";
constexpr wchar_t kProfileVariable[] = L"%USERPROFILE%";
constexpr wchar_t kUsualPlace[] = L"%USERPROFILE%\\AppData\\Roaming";

struct TaskMemoryTraits {
    using Type = wchar_t*;
    static Type Invalid() { return nullptr; }
    static void Close(Type memory) { CoTaskMemFree(memory); }
};
using TaskMemory = optimizer::UniqueHandle<TaskMemoryTraits>;

std::wstring OfToken(HANDLE token) {
    TaskMemory path;
    const HRESULT result =
        SHGetKnownFolderPath(FOLDERID_RoamingAppData, KF_FLAG_DONT_VERIFY, token, path.Receive());
    return SUCCEEDED(result) && path ? std::wstring(path.Get()) : std::wstring();
}

/// A registry text as it stands there; empty when there is none.
std::wstring RegistryText(HKEY root, const std::wstring& key, const wchar_t* value) {
    constexpr DWORD kLongestText = 1024;
    wchar_t text[kLongestText] = L"";
    DWORD size = sizeof(text);
    constexpr DWORD kTypes = RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND;
    return RegGetValueW(root, key.c_str(), value, kTypes, nullptr, text, &size) == ERROR_SUCCESS ? text : L"";
}

/// The variables of the machine; those of a user would be the caller's.
std::wstring ExpandVariables(const std::wstring& text) {
    wchar_t expanded[1024] = L"";
    const DWORD length = ExpandEnvironmentStringsW(text.c_str(), expanded, 1024);
    return length != 0 && length <= 1024 ? expanded : L"";
}

std::wstring OfProfile(const UserName& user) {
    Sid sid;
    if (SidOf(user, sid) != ERROR_SUCCESS) return {};
    const std::wstring sidText = SidText(sid.Get());
    const std::wstring profile =
        ExpandVariables(RegistryText(HKEY_LOCAL_MACHINE, kProfileList + sidText, L"ProfileImagePath"));
    std::wstring path = RegistryText(HKEY_USERS, sidText + kShellFolders, L"AppData");
    if (path.empty()) path = kUsualPlace;
    const size_t variableLength = std::size(kProfileVariable) - 1;
    if (_wcsnicmp(path.c_str(), kProfileVariable, variableLength) == 0) {
        if (profile.empty()) return {};
        path.replace(0, variableLength, profile);
    }
    return ExpandVariables(path);
}

}  // namespace

std::wstring AppDataOf(const CurrentUser& user) {
    std::wstring path;
    if (user.token) path = OfToken(user.token.Get());
    return path.empty() ? OfProfile(user.user) : path;
}

}  // namespace host
