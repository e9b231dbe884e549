#include "plugins/registration_file.h"

#include <vector>

#include <windows.h>

#include <aclapi.h>

#include "frame/handles.h"
#include "frame/json.h"
#include "frame/text.h"
#include "iservconfig/settings_file.h"
#include "trust/accounts.h"
#include "trust/file_trust.h"

namespace host {

namespace json = optimizer::json;

namespace {

/// The service runs as SYSTEM; a console in the hands of an administrator runs as that administrator.
bool IsTrusted(PSID sid) {
    return IsWellKnownSid(sid, WinLocalSystemSid) || IsWellKnownSid(sid, WinBuiltinAdministratorsSid) ||
           optimizer::SidText(sid) == optimizer::OwnAccount();
}

bool GrantsOnlyToTrusted(ACL* list) {
    if (list == nullptr) return false;  // no list is a list that lets everybody in
    for (DWORD i = 0; i < list->AceCount; ++i) {
        void* entry = nullptr;
        if (!GetAce(list, i, &entry)) return false;
        const auto* const header = static_cast<ACE_HEADER*>(entry);
        if (header->AceType == ACCESS_DENIED_ACE_TYPE) continue;
        if (header->AceType != ACCESS_ALLOWED_ACE_TYPE) return false;
        if (!IsTrusted(&static_cast<ACCESS_ALLOWED_ACE*>(entry)->SidStart)) return false;
    }
    return true;
}

/// An owner may change the access at any time, so that it counts too.
bool IsProtected(HANDLE file) {
    PSID owner = nullptr;
    ACL* list = nullptr;
    optimizer::LocalMemory descriptor;
    const DWORD error =
        GetSecurityInfo(file, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &owner,
                        nullptr, &list, nullptr, descriptor.Receive());
    return error == ERROR_SUCCESS && owner != nullptr && IsTrusted(owner) && GrantsOnlyToTrusted(list);
}

RegistrationFileState ReadOpened(HANDLE file, const std::wstring& path, Registration& out,
                                 std::wstring& problem) {
    if (!IsProtected(file)) {
        problem = path +
                  L" isn't used, since others than administrators could read or change it; let only "
                  L"SYSTEM and Administrators have access, and one of them own it.";
        return RegistrationFileState::NotProtected;
    }
    picojson::value root;
    const SettingsFileState state = ReadOpenedSettings(file, path, root, problem);
    if (state == SettingsFileState::Unreadable) return RegistrationFileState::Unreadable;
    if (state != SettingsFileState::Ok || !root.is<picojson::object>()) {
        problem = path + L" isn't used, since it is not a JSON object.";  // the reader's own text quotes it
        return RegistrationFileState::Broken;
    }
    out.email = json::ToText(json::Find(root, "email")).value_or("");
    out.token = json::ToText(json::Find(root, "token")).value_or("");
    out.partnerId = json::ToInt32(json::Find(root, "partnerId")).value_or(0);
    out.authenticated = json::ToBool(json::Find(root, "authenticated")).value_or(false);
    return RegistrationFileState::Ok;
}

}  // namespace

RegistrationFileState ReadRegistration(const std::wstring& path, Registration& out, std::wstring& problem) {
    out = {};
    const optimizer::FileHandle file(
        CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL | optimizer::FlagsAgainstLinks(), nullptr));
    const DWORD error = GetLastError();
    if (file) return ReadOpened(file.Get(), path, out, problem);
    problem = path + L": " + optimizer::SystemErrorText(error);
    const bool absent = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
    return absent ? RegistrationFileState::Absent : RegistrationFileState::Unreadable;
}

}  // namespace host
