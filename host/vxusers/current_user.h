// Who the caller is, and who is logged on to a session. Results are Windows error codes, 0 for success; all
// throw std::bad_alloc.
#pragma once

#include <cstdint>

#include "frame/handles.h"
#include "vxusers/accounts.h"

namespace host {

/// A user with a token of his, if one could be had.
struct CurrentUser {
    UserName user;
    optimizer::KernelHandle token;
};

/// The user that the calling thread impersonates, or else that of the process.
[[nodiscard]] uint32_t ReadCaller(CurrentUser& caller);

/// The user of the console session, by name alone. Asks nobody but Terminal Services.
[[nodiscard]] uint32_t ReadInteractiveName(CurrentUser& interactive);

/// The user of the console session. The token is missing when the caller may not have it.
[[nodiscard]] uint32_t ReadInteractiveUser(CurrentUser& interactive);

/// The user among those of all sessions whom `wanted` names, with a token.
/// 1245 (ERROR_NOT_LOGGED_ON) when there is none.
[[nodiscard]] uint32_t FindLoggedOnUser(const UserName& wanted, CurrentUser& found);

}  // namespace host
