#include "boottime/user_logon_observer.h"

#include <windows.h>

#include "frame/trace.h"

namespace boottime {

namespace trace = optimizer::trace;

void UserLogonObserver::Look() {
    if (m_logged != 0 || !optimizer::CUserLogon::IsUserLogged()) return;
    m_loginTick = GetTickCount();
    m_logged = 1;
}

void UserLogonObserver::OnLogon(uint32_t time, const wchar_t*) {
    TRACE_SCOPE("UserLogonObserver::OnLogon");
    m_loginTick = time;
    int32_t nobody = 0;
    m_logged.compare_exchange_strong(nobody, 1);
    TRACE_LINE(trace::kInformation, L"login time = %d", time);
}

void UserLogonObserver::OnLogoff(uint32_t, const wchar_t*) {
    TRACE_SCOPE("UserLogonObserver::OnLogoff");
    // Once logged, the flag stays, on purpose: a boot that somebody has logged on to doesn't go back to
    // waiting for a user.
    m_loginTick = 0;
}

}  // namespace boottime
