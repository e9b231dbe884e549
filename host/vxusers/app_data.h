#pragma once

#include <string>

#include "vxusers/current_user.h"

namespace host {

/// The folder of a user's roaming application data: what the system says of his token, or else of his
/// registry hive, or else the usual place in his profile. Empty when nothing is known of him. Throws
/// std::bad_alloc.
std::wstring AppDataOf(const CurrentUser& user);

}  // namespace host
