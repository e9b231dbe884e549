#pragma once

#include <cstdint>
#include <string>

namespace optimizer {

/// Has a user's part of the registry loaded under HKEY_USERS for as long as it lives. That of a user who is
/// logged on is there already, and stays. Needs an administrator.
class UserHive {
public:
    explicit UserHive(std::wstring sid);
    ~UserHive();
    UserHive(const UserHive&) = delete;
    UserHive& operator=(const UserHive&) = delete;

    /// 0, or why it can't be loaded.
    uint32_t Error() const { return m_error; }

private:
    uint32_t _Load();

    const std::wstring m_sid;
    bool m_loaded = false;
    uint32_t m_error;
};

}  // namespace optimizer
