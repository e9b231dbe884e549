// The exports of vxusers.dll; vxusers.def names them.
#include "vxusers/vxusers_exports.h"

#include <algorithm>
#include <new>

#include "vxusers/app_data.h"
#include "vxusers/current_user.h"
#include "vxusers/user_records.h"

namespace {

using host::CurrentUser;
using host::UserName;

using ReadCurrentUser = uint32_t(CurrentUser& user);
enum class Detail { Basic, Advanced };

/// Runs an operation that gives an error code; makes its answer the library's, and lets no exception out.
template <class Operation>
uint32_t Answer(Operation operation) {
    uint32_t error = ERROR_SUCCESS;
    try {
        error = operation();
    } catch (const std::bad_alloc&) {
        error = ERROR_OUTOFMEMORY;
    }
    if (error == ERROR_SUCCESS) return 1;
    SetLastError(error);
    return 0;
}

uint32_t Tell(UserRecord* record, ReadCurrentUser* readCurrentUser, Detail detail) {
    return Answer([=]() -> uint32_t {
        if (record == nullptr) return ERROR_INVALID_PARAMETER;
        host::ClearRecord(*record);
        CurrentUser current;
        const uint32_t error = readCurrentUser(current);
        if (error != ERROR_SUCCESS) return error;
        const std::wstring appData = detail == Detail::Advanced ? host::AppDataOf(current) : std::wstring();
        return host::FillRecord(*record, current.user, appData);
    });
}

UserList* List(ReadCurrentUser* readCurrentUser) {
    UserList* list = nullptr;
    Answer([&]() -> uint32_t {
        std::vector<UserName> users = host::LocalAccounts();
        CurrentUser current;
        const uint32_t error = readCurrentUser(current);
        const auto isCurrent = [&](const UserName& user) { return host::IsNamedBy(user, current.user); };
        if (error == ERROR_SUCCESS && std::none_of(users.begin(), users.end(), isCurrent)) {
            users.push_back(current.user);
        }
        if (users.empty()) return error;
        list = host::MakeUserList(users);
        return ERROR_SUCCESS;
    });
    return list;
}

uint32_t Impersonate(const CurrentUser& user) {
    if (!user.token) return ERROR_PRIVILEGE_NOT_HELD;
    return ImpersonateLoggedOnUser(user.token.Get()) ? ERROR_SUCCESS : GetLastError();
}

uint32_t NotImplemented() {
    SetLastError(ERROR_CALL_NOT_IMPLEMENTED);
    return 0;
}

}  // namespace

uint32_t GetCurrentUserName(UserRecord* record) {
    return Tell(record, &host::ReadCaller, Detail::Basic);
}

uint32_t SrvGetCurrentUserName(UserRecord* record) {
    return Tell(record, &host::ReadInteractiveName, Detail::Basic);
}

uint32_t GetCurrentUserInfoBasic(UserRecord* record) {
    return Tell(record, &host::ReadCaller, Detail::Basic);
}

uint32_t SrvGetCurrentUserInfoBasic(UserRecord* record) {
    return Tell(record, &host::ReadInteractiveName, Detail::Basic);
}

uint32_t GetCurrentUserInfoAdvanced(UserRecord* record) {
    return Tell(record, &host::ReadCaller, Detail::Advanced);
}

uint32_t SrvGetCurrentUserInfoAdvanced(UserRecord* record) {
    return Tell(record, &host::ReadInteractiveUser, Detail::Advanced);
}

uint32_t GetUserInfoBasic(UserRecord* record) {
    return Answer([=]() -> uint32_t {
        if (record == nullptr) return ERROR_INVALID_PARAMETER;
        record->reserved1 = 0;
        record->reserved2 = 0;
        record->appData[0] = 0;
        UserName user;
        host::Sid sid;
        uint32_t error = host::ReadRecord(*record, user);
        if (error == ERROR_SUCCESS) error = host::SidOf(user, sid);
        if (error == ERROR_SUCCESS) error = host::UserOf(sid.Get(), user);
        return error == ERROR_SUCCESS ? host::FillRecord(*record, user, {}) : error;
    });
}

UserList* GetAccountsInfoBasic() {
    return List(&host::ReadCaller);
}

UserList* SrvGetAccountsInfoBasic() {
    return List(&host::ReadInteractiveName);
}

void FreeVXUsersList(UserList* list) {
    host::FreeUserList(list);
}

UserList* GetUsersNamesList() {
    return List(&host::ReadCaller);
}

UserList* SrvGetUsersNamesList() {
    return List(&host::ReadInteractiveName);
}

void FreeVXUsersNamesList(UserList* list) {
    host::FreeUserList(list);
}

uint32_t SrvImpersonateCurrentUser(UserRecord* record) {
    return Answer([=]() -> uint32_t {
        if (record != nullptr) host::ClearRecord(*record);
        CurrentUser interactive;
        uint32_t error = host::ReadInteractiveUser(interactive);
        if (error != ERROR_SUCCESS) return error;
        if (record != nullptr) error = host::FillRecord(*record, interactive.user, {});
        if (error == ERROR_SUCCESS) error = Impersonate(interactive);
        if (error != ERROR_SUCCESS && record != nullptr) host::ClearRecord(*record);
        return error;
    });
}

uint32_t SrvImpersonateUser(UserRecord* record) {
    return Answer([=]() -> uint32_t {
        if (record == nullptr) return ERROR_INVALID_PARAMETER;
        UserName wanted;
        CurrentUser found;
        uint32_t error = host::ReadRecord(*record, wanted);
        if (error == ERROR_SUCCESS) error = host::FindLoggedOnUser(wanted, found);
        return error == ERROR_SUCCESS ? Impersonate(found) : error;
    });
}

uint32_t SrvRevertToSelf() {
    return RevertToSelf() ? 1 : 0;
}

uint32_t RemoveInteractiveUserRights(UserRecord*) {
    return NotImplemented();
}

uint32_t RetriveLocalUsersIconsToVXCache(UserRecord*) {
    return NotImplemented();
}
