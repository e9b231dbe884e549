// A user library whose interactive user the test sets.
#include <cwchar>

#include "tests/support/simulated_users_state.h"

namespace {

UserRecord g_user = {};
uint32_t g_result = 1;
SimulatedUsersState g_state;

void Copy(wchar_t* to, const wchar_t* from, size_t capacity) {
    std::wcsncpy(to, from, capacity - 1);
    to[capacity - 1] = 0;
}

uint32_t FillUser(UserRecord* record) {
    if (g_result == 0) return 0;
    Copy(record->name, g_user.name, 50);
    Copy(record->domain, g_user.domain, 50);
    Copy(record->appData, g_user.appData, 524);
    return g_result;
}

}  // namespace

#define SIMULATED_RECORD_FUNCTION(name)                                  \
    extern "C" __declspec(dllexport) uint32_t name(UserRecord* record) { \
        return FillUser(record);                                         \
    }

SIMULATED_RECORD_FUNCTION(GetCurrentUserInfoAdvanced)
SIMULATED_RECORD_FUNCTION(GetUserInfoBasic)
SIMULATED_RECORD_FUNCTION(GetCurrentUserName)
SIMULATED_RECORD_FUNCTION(SrvGetCurrentUserInfoBasic)
SIMULATED_RECORD_FUNCTION(SrvGetCurrentUserName)
SIMULATED_RECORD_FUNCTION(SrvGetCurrentUserInfoAdvanced)

extern "C" {

__declspec(dllexport) UserList* GetAccountsInfoBasic() {
    return nullptr;
}
__declspec(dllexport) UserList* SrvGetAccountsInfoBasic() {
    return g_state.accounts;
}
__declspec(dllexport) UserList* GetUsersNamesList() {
    return nullptr;
}
__declspec(dllexport) UserList* SrvGetUsersNamesList() {
    return nullptr;
}
__declspec(dllexport) void FreeVXUsersList(UserList*) {}
__declspec(dllexport) void FreeVXUsersNamesList(UserList*) {}
__declspec(dllexport) uint32_t RemoveInteractiveUserRights(UserRecord*) {
    return 0;
}
__declspec(dllexport) uint32_t SrvImpersonateCurrentUser(UserRecord*) {
    g_state.impersonations += g_result != 0 ? 1 : 0;
    return g_result;
}
__declspec(dllexport) uint32_t GetCurrentUserInfoBasic(UserRecord* record) {
    return g_state.impersonations == 1 && g_state.tellsCaller ? FillUser(record) : 0;
}
__declspec(dllexport) uint32_t SrvImpersonateUser(UserRecord*) {
    return g_result;
}
__declspec(dllexport) uint32_t SrvRevertToSelf() {
    --g_state.impersonations;
    return 1;
}
__declspec(dllexport) SimulatedUsersState* SimulatedState() {
    return &g_state;
}
__declspec(dllexport) uint32_t RetriveLocalUsersIconsToVXCache(UserRecord*) {
    return 0;
}

/// An empty name means that nobody is logged on; `result` is what all functions answer.
__declspec(dllexport) void SimulatedUser(const wchar_t* domain, const wchar_t* name, const wchar_t* appData,
                                         uint32_t result) {
    Copy(g_user.domain, domain, 50);
    Copy(g_user.name, name, 50);
    Copy(g_user.appData, appData, 524);
    g_result = result;
}

}  // extern "C"
