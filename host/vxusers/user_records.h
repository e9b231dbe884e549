#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "border/users_library.h"
#include "vxusers/accounts.h"

namespace host {

void ClearRecord(UserRecord& record);

/// Fills a record. 111 (ERROR_BUFFER_OVERFLOW) when the name or the domain doesn't fit; the record is clear
/// then.
[[nodiscard]] uint32_t FillRecord(UserRecord& record, const UserName& user, const std::wstring& appData);

/// The name and the domain that stand in a record. 87 (ERROR_INVALID_PARAMETER) when a text has no end or the
/// name is empty. Throws std::bad_alloc.
[[nodiscard]] uint32_t ReadRecord(const UserRecord& record, UserName& user);

/// A list for a caller, in one piece with its records; users whose name doesn't fit are left out.
/// Throws std::bad_alloc. FreeUserList ends it; null does nothing.
UserList* MakeUserList(const std::vector<UserName>& users);
void FreeUserList(UserList* list);

}  // namespace host
