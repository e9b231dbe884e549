// Security identifiers of users, in the form "S-1-...".
#pragma once

#include <cstdint>
#include <string>

namespace optimizer {

/// The identifier of an account, "DOMAIN\name" or the bare name. 0 or 31.
[[nodiscard]] uint32_t LookUpSid(const std::wstring& account, std::wstring& sid);

/// The identifier of the interactive user, for a service: it impersonates him for the one call that tells the
/// name. 0, or 31 when he can't be impersonated, named or found. Blocks while a domain controller is asked.
[[nodiscard]] uint32_t FindCurrentUserSid(std::wstring& sid);

}  // namespace optimizer
