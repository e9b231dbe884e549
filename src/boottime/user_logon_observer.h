#pragma once

#include <atomic>

#include "profile/user_logon.h"

namespace boottime {

/// Knows when the user logged on. Owned by the monitor; told on the session tracker's serial execution, read
/// on the measuring thread.
class UserLogonObserver final : public optimizer::IUserLogonObserver {
public:
    UserLogonObserver() { Look(); }
    UserLogonObserver(const UserLogonObserver&) = delete;
    UserLogonObserver& operator=(const UserLogonObserver&) = delete;

    /// Somebody who is there already, and of whom it wasn't told, counts as logged on at this moment.
    void Look();

    void OnLogon(uint32_t time, const wchar_t* user) override;
    void OnLogoff(uint32_t time, const wchar_t* user) override;

    /// Somebody has logged on at some time.
    bool IsLogged() const { return m_logged; }
    /// GetTickCount at the logon; 0 after a logoff.
    uint32_t LoginTick() const { return m_loginTick; }

private:
    std::atomic<uint32_t> m_loginTick = 0;  // written before m_logged is set
    std::atomic<int32_t> m_logged = 0;
};

}  // namespace boottime
