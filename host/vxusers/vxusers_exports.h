// The functions of vxusers.dll, which knows the users of this machine.
//
// Two families. The functions that begin with "Srv" tell of the interactive user, the one who is logged on to
// the console session, whoever the caller is; a service uses these. The others tell of the caller: the user
// that the calling thread impersonates, or else the one that its process runs as. So a service that has
// called SrvImpersonateCurrentUser learns about the interactive user from both.
//
// A function that takes a record gives non-zero for success. On failure it gives 0, the reason is the
// thread's last error (1245, ERROR_NOT_LOGGED_ON, when nobody is logged on to the console), and the record's
// texts are empty. A text is never cut: a user or domain name that doesn't fit its field makes the call fail
// with 111 (ERROR_BUFFER_OVERFLOW), since half a name is another user's, and an AppData path that doesn't fit
// is left empty. The two reserved fields are set to 0.
//
// Any thread; no function throws. Those that look up accounts may block while a domain controller is asked.
#pragma once

#include "border/users_library.h"

extern "C" {

/// Name and domain.
uint32_t GetCurrentUserName(UserRecord* record);
uint32_t SrvGetCurrentUserName(UserRecord* record);
uint32_t GetCurrentUserInfoBasic(UserRecord* record);
uint32_t SrvGetCurrentUserInfoBasic(UserRecord* record);

/// Name, domain and the folder of roaming application data; the latter is empty when it can't be found.
uint32_t GetCurrentUserInfoAdvanced(UserRecord* record);
uint32_t SrvGetCurrentUserInfoAdvanced(UserRecord* record);

/// Name and domain, as the system writes them, of the user whose name, and domain if any, stand in the record
/// on entry. A failure leaves these two as they are.
uint32_t GetUserInfoBasic(UserRecord* record);

/// The accounts of this machine that aren't disabled and that the system can resolve to an identifier, with
/// name and domain, and the current user if he isn't one of them. Freed with FreeVXUsersList; null on
/// failure.
UserList* GetAccountsInfoBasic();
UserList* SrvGetAccountsInfoBasic();
void FreeVXUsersList(UserList* list);

/// The same users. Freed with FreeVXUsersNamesList; null on failure.
UserList* GetUsersNamesList();
UserList* SrvGetUsersNamesList();
void FreeVXUsersNamesList(UserList* list);

/// The calling thread acts as the interactive user until SrvRevertToSelf. Works for a service that runs as
/// LocalSystem and for a process of the interactive user himself. `record`, which may be null, receives name
/// and domain.
uint32_t SrvImpersonateCurrentUser(UserRecord* record);
/// The same for the user whose name, and domain if any, stand in the record on entry, if he is logged on to
/// some session; a failure leaves the record as it is.
uint32_t SrvImpersonateUser(UserRecord* record);
uint32_t SrvRevertToSelf();

/// Not there in this host: always 0, with 120 (ERROR_CALL_NOT_IMPLEMENTED) as the last error, and the record
/// untouched. The first would take rights from the interactive user's account; nothing tells which, nobody
/// asks for it, and it couldn't be put back. The second would copy account pictures to a cache whose place
/// and format belong to another product.
uint32_t RemoveInteractiveUserRights(UserRecord* record);
uint32_t RetriveLocalUsersIconsToVXCache(UserRecord* record);

}  // extern "C"
