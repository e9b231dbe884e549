// Accounts by name and by security identifier. Results are Windows error codes, 0 for success; all throw
// std::bad_alloc. Look-ups may ask a domain controller.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <windows.h>

namespace host {

struct UserName {
    std::wstring name;
    std::wstring domain;  // may be empty
};

/// A security identifier in its binary form.
class Sid {
public:
    PSID Get() const { return const_cast<std::byte*>(m_bytes.data()); }
    std::vector<std::byte>& Bytes() { return m_bytes; }

private:
    std::vector<std::byte> m_bytes;
};

/// Whether `user` is the one that `wanted` names; case doesn't matter, nor does a domain that isn't given.
bool IsNamedBy(const UserName& user, const UserName& wanted);

[[nodiscard]] uint32_t SidOf(const UserName& user, Sid& sid);
/// 1317 (ERROR_NO_SUCH_USER) for what isn't a user: a group, a service identity.
[[nodiscard]] uint32_t UserOf(PSID sid, UserName& user);
/// The form "S-1-..."; empty on failure.
std::wstring SidText(PSID sid);

/// The machine's own accounts that aren't disabled and have an identifier; the users with a profile on it
/// when they can't be had.
std::vector<UserName> LocalAccounts();

}  // namespace host
