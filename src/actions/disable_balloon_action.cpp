#include "actions/disable_balloon_action.h"

#include <optional>

#include <windows.h>

#include "actions/agent_message.h"
#include "actions/user_hive.h"
#include "actions/user_sid.h"
#include "frame/handles.h"
#include "frame/trace.h"
#include "frame/users_library.h"

namespace optimizer {

namespace {

constexpr const wchar_t* kKey = L"\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Advanced";
constexpr const wchar_t* kValue = L"EnableBalloonTips";

/// A user list of the user library, given back to it at the end.
struct UserListTraits {
    using Type = UserList*;
    static Type Invalid() { return nullptr; }
    static void Close(Type list) {
        VxUsersLibrary::Instance().CallVoid<FreeUserListFunction>(VxUsersLibrary::kFreeVXUsersList, list);
    }
};
using OwnedUserList = UniqueHandle<UserListTraits>;

/// 2 (ERROR_FILE_NOT_FOUND) when the account has no such key, or isn't loaded and nothing is to be put back.
LSTATUS Write(const std::wstring& sid, bool enable) {
    RegistryKey key;
    std::optional<UserHive> hive;
    const bool isLoaded =
        RegOpenKeyExW(HKEY_USERS, sid.c_str(), 0, KEY_READ, RegistryKey().Receive()) == ERROR_SUCCESS;
    // Who has logged off since the balloons went off gets them back too; for the change itself nobody's part
    // of the registry is loaded.
    if (!isLoaded && enable) {
        hive.emplace(sid);
        if (hive->Error() != ERROR_SUCCESS) return static_cast<LSTATUS>(hive->Error());
        DWORD present = 1;
        DWORD sizeBytes = sizeof(present);
        RegGetValueW(HKEY_USERS, (sid + kKey).c_str(), kValue, RRF_RT_REG_DWORD, nullptr, &present,
                     &sizeBytes);
        if (present != 0) return ERROR_FILE_NOT_FOUND;
    }
    const std::wstring path = sid + kKey;
    const LSTATUS error = RegOpenKeyExW(HKEY_USERS, path.c_str(), 0, KEY_READ | KEY_WRITE, key.Receive());
    if (error != ERROR_SUCCESS) return error;
    const DWORD data = enable ? 1 : 0;
    return RegSetValueExW(key.Get(), kValue, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&data),
                          sizeof(data));
}

}  // namespace

uint32_t CDisableBalloonAction::_ExecuteAction(bool enable) {
    TRACE_SCOPE("CDisableBalloonAction::_ExecuteAction");
    uint32_t result = ERROR_GEN_FAILURE;
    // The list isn't emptied before: a later run adds the accounts again and writes them twice, which is
    // known and does no harm.
    m_finished = _GetUserSids(m_userSids);
    // On the way back those that are known get theirs, whoever else isn't.
    if (m_finished == ERROR_SUCCESS || enable) {
        for (const std::wstring& sid : m_userSids) {
            const LSTATUS error = Write(sid, enable);
            if (error == ERROR_SUCCESS) {
                result = ERROR_SUCCESS;
            } else if (error != ERROR_FILE_NOT_FOUND) {
                m_finished = static_cast<uint32_t>(error);
            }
        }
    }
    _NotifyAgent();
    return result;
}

uint32_t CDisableBalloonAction::Note(IOptimizerActionSettings*) {
    TRACE_SCOPE("CDisableBalloonAction::Note");
    // A run that would write nothing needs no note, which nothing could take away again.
    std::vector<std::wstring> accounts;
    return _GetUserSids(accounts);
}

/// One account without an identifier spoils the change: nothing is written then.
uint32_t CDisableBalloonAction::_GetUserSids(std::vector<std::wstring>& list) {
    TRACE_SCOPE("CDisableBalloonAction::_GetUserSids");
    VxUsersLibrary& users = VxUsersLibrary::Instance();
    if (!users.IsBound()) return ERROR_GEN_FAILURE;
    UserList* const none = nullptr;
    const OwnedUserList accounts(
        users.Call<UserListFunction>(VxUsersLibrary::kSrvGetAccountsInfoBasic, none));
    if (!accounts) {
        TRACE_LINE(trace::kError, L"User list is null!");
        return ERROR_GEN_FAILURE;
    }
    uint32_t result = ERROR_SUCCESS;
    for (UserRecord* const* record = accounts.Get()->begin; record != accounts.Get()->end; ++record) {
        if (*record == nullptr) continue;
        std::wstring sid;
        const uint32_t error = LookUpSid(std::wstring((*record)->domain) + L"\\" + (*record)->name, sid);
        if (error == ERROR_SUCCESS) {
            list.push_back(sid);
        } else {
            result = error;
        }
    }
    return result;
}

void CDisableBalloonAction::_NotifyAgent() {
    TRACE_SCOPE("CDisableBalloonAction::_NotifyAgent");
    if (m_main == nullptr) {
        TRACE_LINE(trace::kWarning, L"ServMain is null! Notify agent failed.");
        return;
    }
    IComponentManager* const components = m_main->GetComponentManager();
    if (components != nullptr) static_cast<void>(SendAgentMessage(*components, NpcMsgAgent::BalloonChanged));
}

}  // namespace optimizer
