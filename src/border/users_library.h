// The functions of vxusers.dll, which knows the users of this machine.
#pragma once

#include <stdint.h>

/// What the library tells of one user. Texts end in NUL.
struct UserRecord {
    wchar_t name[50];
    wchar_t domain[50];
    uint64_t reserved1;
    uint64_t reserved2;
    wchar_t appData[524];
};
static_assert(sizeof(UserRecord) == 1264);

/// A list of users; belongs to the library until FreeVXUsersList or FreeVXUsersNamesList.
struct UserList {
    UserRecord** begin;
    UserRecord** end;
};

/// Fills one record; non-zero for success. The names that begin with "Srv" work from a service, without the
/// caller's own token.
using UserRecordFunction = uint32_t(UserRecord* record);
using UserListFunction = UserList*();
using FreeUserListFunction = void(UserList* list);
using RevertToSelfFunction = uint32_t();
