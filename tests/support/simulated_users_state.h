#pragma once

#include "border/users_library.h"

/// What a test sets and sees of the simulated user library, beside its one user.
struct SimulatedUsersState {
    bool tellsCaller = true;  // whether GetCurrentUserInfoBasic works for who impersonates
    int impersonations = 0;   // begun and not reverted
    UserList* accounts = nullptr;
};
