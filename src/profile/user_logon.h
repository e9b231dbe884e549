#pragma once

#include <atomic>
#include <string>

#include "border/host.h"
#include "border/session_change.h"
#include "frame/callback_list.h"
#include "frame/critical_section.h"

namespace optimizer {

class IUserLogonObserver {
public:
    /// On the tracker's serial execution. `time` is the session notification's own, `user` is "DOMAIN\name"
    /// or the bare name, valid during the call only.
    virtual void OnLogon(uint32_t time, const wchar_t* user) = 0;
    virtual void OnLogoff(uint32_t time, const wchar_t* user) = 0;

protected:
    ~IUserLogonObserver() = default;
};

/// Knows the interactive user and tells its observers of logons and logoffs, in order. One object for the
/// process, shared by several components through counted Init and Start calls: whoever took it gives it back,
/// and nobody else.
///
/// OnSessionChange comes on the host's thread and only posts; everything else happens on the serial
/// execution. Locks: the tracker lock, then the lock of the user library's table.
class CUserLogon final : public ISessionChangeEvents {
public:
    static CUserLogon& Instance();

    /// Only the first call acts. 0, or 6 for a missing host object: the call has then been taken back.
    uint32_t Init(IServMain* main);
    void Uninit();
    /// Only the first call acts. 0, or an error: the call has then been taken back.
    uint32_t Start();
    void Stop();

    /// Whether somebody is logged on. Needs the bound user library only.
    static bool IsUserLogged();
    /// The user as "DOMAIN\name" and the user's AppData folder; empty where the user library gives nothing.
    static void GetCurrentUser(std::wstring& user, std::wstring& appData);
    static void GetCurrentUserAppData(std::wstring& appData);

    void OnSessionChange(uint32_t time, uint32_t event,
                         const tagWTSSESSION_NOTIFICATION* notification) override;

    /// The user and the AppData folder as of the last logon. A logoff leaves them.
    std::wstring User();
    std::wstring AppData();

    CallbackList<IUserLogonObserver*>& Observers() { return m_observers; }

private:
    CUserLogon() = default;
    ~CUserLogon() = default;

    uint32_t _Start();
    uint32_t _Post(uint32_t time, uint32_t event, const tagWTSSESSION_NOTIFICATION& notification);
    void _ProcessSessionChange(unsigned long time, unsigned long event,
                               tagWTSSESSION_NOTIFICATION* notification);
    void _ProcessLogoff(uint32_t time);
    void _ProcessLogon(uint32_t time, uint32_t event, uint32_t sessionId);
    static bool _QueryLogonUser(uint32_t sessionId, std::wstring& user);

    bool m_logonPending = false;  // a logon had no user yet; only touched on the serial execution
    std::wstring m_user GUARDED_BY(m_lock);
    std::wstring m_appData GUARDED_BY(m_lock);
    IServMain* m_main = nullptr;
    IEventQueue* m_queue = nullptr;
    ISerialExecution* m_serial GUARDED_BY(m_serialLock) = nullptr;
    ISessionChange* m_sessionChange = nullptr;
    CCriticalSection m_lock;
    CCriticalSection m_serialLock;  // keeps the serial execution while a session change is posted
    CallbackList<IUserLogonObserver*> m_observers;
    std::atomic<int32_t> m_initCount = 0;
    std::atomic<int32_t> m_startCount = 0;
};

}  // namespace optimizer
