#include "actions/user_hive.h"

#include <utility>

#include <windows.h>

#include "frame/handles.h"
#include "frame/trace.h"

namespace optimizer {

namespace {

constexpr const wchar_t* kProfiles = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList\\";

/// Loading a hive is restoring it, unloading it too.
bool TakePrivileges() {
    KernelHandle token;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES, token.Receive())) return false;
    for (const wchar_t* const name : {SE_RESTORE_NAME, SE_BACKUP_NAME}) {
        TOKEN_PRIVILEGES privileges = {};
        privileges.PrivilegeCount = 1;
        privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
        if (!LookupPrivilegeValueW(nullptr, name, &privileges.Privileges[0].Luid) ||
            !AdjustTokenPrivileges(token.Get(), FALSE, &privileges, 0, nullptr, nullptr)) {
            return false;
        }
    }
    return true;
}

}  // namespace

UserHive::UserHive(std::wstring sid) : m_sid(std::move(sid)), m_error(_Load()) {}

UserHive::~UserHive() {
    if (m_loaded) RegUnLoadKeyW(HKEY_USERS, m_sid.c_str());
}

uint32_t UserHive::_Load() {
    TRACE_SCOPE("UserHive::_Load");
    RegistryKey there;
    if (RegOpenKeyExW(HKEY_USERS, m_sid.c_str(), 0, KEY_READ, there.Receive()) == ERROR_SUCCESS)
        return ERROR_SUCCESS;
    wchar_t folder[MAX_PATH] = L"";
    DWORD sizeBytes = sizeof(folder);
    // RegGetValueW gives an expanded text for either type.
    LSTATUS error = RegGetValueW(HKEY_LOCAL_MACHINE, (kProfiles + m_sid).c_str(), L"ProfileImagePath",
                                 RRF_RT_REG_SZ, nullptr, folder, &sizeBytes);
    if (error == ERROR_SUCCESS && !TakePrivileges()) error = ERROR_PRIVILEGE_NOT_HELD;
    if (error == ERROR_SUCCESS) {
        error = RegLoadKeyW(HKEY_USERS, m_sid.c_str(), (std::wstring(folder) + L"\\NTUSER.DAT").c_str());
        m_loaded = error == ERROR_SUCCESS;
    }
    if (error != ERROR_SUCCESS) TRACE_LINE(trace::kWarning, L"%s can't be loaded 0x%x", m_sid.c_str(), error);
    return static_cast<uint32_t>(error);
}

}  // namespace optimizer
