#include "profile/user_logon.h"

#include <memory>
#include <utility>

#include "frame/guarded.h"
#include "frame/trace.h"
#include "frame/users_library.h"
#include "frame/work_item.h"
#include "frame/wts_memory.h"

namespace optimizer {

namespace {

constexpr const wchar_t* kSessionChangePlugin = L"sessionchange";

/// One text of a session. The error is 0 with an empty text when the call worked and gave nothing.
struct SessionText {
    bool succeeded;
    DWORD error;
    std::wstring text;
};

SessionText QuerySessionText(uint32_t sessionId, WTS_INFO_CLASS which) {
    TRACE_SCOPE("CUserLogon::QuerySessionText");
    WtsText buffer;
    DWORD sizeBytes = 0;
    if (!WTSQuerySessionInformationW(WTS_CURRENT_SERVER_HANDLE, sessionId, which, buffer.Receive(),
                                     &sizeBytes)) {
        const DWORD error = GetLastError();
        // The text names WTSUserName for the domain too; whoever reads these traces knows it that way.
        TRACE_LINE(trace::kWarning, L"WTSQuerySessionInformation WTSUserName failed 0x%x", error);
        return {false, error, {}};
    }
    if (!buffer || buffer.Get()[0] == 0) {
        TRACE_LINE(trace::kWarning, L"WTSQuerySessionInformation WTSUserName null or empty");
        return {true, ERROR_SUCCESS, {}};
    }
    return {true, ERROR_SUCCESS, buffer.Get()};
}

}  // namespace

CUserLogon& CUserLogon::Instance() {
    static CUserLogon instance;
    return instance;
}

uint32_t CUserLogon::Init(IServMain* main) {
    TRACE_SCOPE("CUserLogon::Init");
    if (++m_initCount != 1) return ERROR_SUCCESS;
    m_main = main;
    if (main == nullptr) {
        TRACE_LINE(trace::kError, L"failed");
        Uninit();
        return ERROR_INVALID_HANDLE;
    }
    std::wstring user;
    std::wstring appData;
    GetCurrentUser(user, appData);
    CriticalSectionGuard guard(m_lock);
    m_user = user;
    m_appData = appData;
    return ERROR_SUCCESS;
}

void CUserLogon::Uninit() {
    TRACE_SCOPE("CUserLogon::Uninit");
    if (--m_initCount >= 1) return;
    CriticalSectionGuard guard(m_lock);
    m_user.clear();
    m_appData.clear();
}

uint32_t CUserLogon::Start() {
    TRACE_SCOPE("CUserLogon::Start");
    if (++m_startCount != 1) return ERROR_SUCCESS;
    if (m_main == nullptr) {
        TRACE_LINE(trace::kError, L"ServMain NULL");
        return ERROR_SUCCESS;
    }
    const uint32_t error = _Start();
    if (error != ERROR_SUCCESS) {
        TRACE_LINE(trace::kError, L"failed");
        Stop();
    }
    return error;
}

uint32_t CUserLogon::_Start() {
    TRACE_SCOPE("CUserLogon::_Start");
    IComponentManager* const components = m_main->GetComponentManager();
    if (components == nullptr) {
        TRACE_LINE(trace::kError, L"Component Manager is null!");
        return ERROR_INVALID_HANDLE;
    }
    void* plugin = nullptr;
    const uint32_t pluginError =
        components->GetPlugin(kSessionChangePlugin, &ISessionChange::kIdentifier, &plugin);
    if (pluginError != ERROR_SUCCESS) {
        TRACE_LINE(trace::kError, L"Error getting plugin: %s", kSessionChangePlugin);
        return pluginError;
    }
    if (plugin == nullptr) return ERROR_INVALID_HANDLE;  // some hosts answer 0 for what they haven't got
    m_sessionChange = static_cast<ISessionChange*>(plugin);

    m_queue = m_main->GetEventQueue();
    ISerialExecution* serial = nullptr;
    const uint32_t queueError =
        m_queue != nullptr ? m_queue->CreateSerialExecution(&serial) : uint32_t{ERROR_INVALID_HANDLE};
    if (serial == nullptr) {
        TRACE_LINE(trace::kError, L"EventQueue createSerialExecution failed 0x%x", queueError);
        return queueError != ERROR_SUCCESS ? queueError : uint32_t{ERROR_GEN_FAILURE};
    }
    {
        CriticalSectionGuard guard(m_serialLock);
        m_serial = serial;
    }
    m_sessionChange->Subscribe(this);
    return ERROR_SUCCESS;
}

void CUserLogon::Stop() {
    TRACE_SCOPE("CUserLogon::Stop");
    if (--m_startCount >= 1 || m_main == nullptr) return;
    ISerialExecution* serial = nullptr;
    {
        CriticalSectionGuard guard(m_serialLock);
        serial = std::exchange(m_serial, nullptr);
    }
    if (m_queue != nullptr && serial != nullptr) m_queue->DestroySerialExecution(serial);
    if (m_sessionChange != nullptr) {
        m_sessionChange->Unsubscribe(this);
        if (IComponentManager* const components = m_main->GetComponentManager()) {
            components->ReleasePlugin(kSessionChangePlugin);
        }
        m_sessionChange = nullptr;
    }
}

void CUserLogon::OnSessionChange(uint32_t time, uint32_t event,
                                 const tagWTSSESSION_NOTIFICATION* notification) {
    TRACE_SCOPE("CUserLogon::OnSessionChange");
    TRACE_LINE(trace::kInformation, L"time=%d event=%d", time, event);
    const bool wanted =
        event == WTS_CONSOLE_CONNECT || event == WTS_SESSION_LOGON || event == WTS_SESSION_LOGOFF;
    if (!wanted || notification == nullptr) return;

    static_cast<void>(Guarded([&] { return _Post(time, event, *notification); }));
}

uint32_t CUserLogon::_Post(uint32_t time, uint32_t event, const tagWTSSESSION_NOTIFICATION& notification) {
    // The caller's record doesn't outlive the call; the work item's member function frees the copy.
    auto copy = std::make_unique<tagWTSSESSION_NOTIFICATION>(notification);
    using Item =
        EqWorkItemMember3<void, CUserLogon, unsigned long, unsigned long, tagWTSSESSION_NOTIFICATION*>;
    auto* const item = new Item(this, time, event, copy.get(), &CUserLogon::_ProcessSessionChange);
    CriticalSectionGuard guard(m_serialLock);
    const bool posted = m_serial != nullptr && m_serial->Post(L"CUserLogon_ProcessSessionChange", nullptr,
                                                              item, 0, 0, 0) == ERROR_SUCCESS;
    if (posted) {
        static_cast<void>(copy.release());
    } else {
        item->Dispose();
    }
    return ERROR_SUCCESS;
}

void CUserLogon::_ProcessSessionChange(unsigned long time, unsigned long event,
                                       tagWTSSESSION_NOTIFICATION* notification) {
    const std::unique_ptr<tagWTSSESSION_NOTIFICATION> owned(notification);
    if (event == WTS_SESSION_LOGOFF) {
        _ProcessLogoff(time);
        return;
    }
    // One console connect retries one logon that had no user.
    if (event == WTS_CONSOLE_CONNECT && !std::exchange(m_logonPending, false)) return;
    _ProcessLogon(time, event, owned->dwSessionId);
}

void CUserLogon::_ProcessLogoff(uint32_t time) {
    TRACE_SCOPE("CUserLogon::_ProcessLogoff");
    // The stored user stays as it is: the next logon overwrites it.
    const std::wstring user = User();
    m_logonPending = false;
    TRACE_LINE(trace::kInformation, L"user=%s", user.c_str());
    m_observers.ForEach([&](IUserLogonObserver* observer) { observer->OnLogoff(time, user.c_str()); });
}

void CUserLogon::_ProcessLogon(uint32_t time, uint32_t event, uint32_t sessionId) {
    TRACE_SCOPE("CUserLogon::_ProcessLogon");
    std::wstring user;
    if (!_QueryLogonUser(sessionId, user)) {
        if (event == WTS_SESSION_LOGON) m_logonPending = true;
        return;
    }
    {
        CriticalSectionGuard guard(m_lock);
        GetCurrentUserAppData(m_appData);
        m_user = user;
    }
    TRACE_LINE(trace::kInformation, L"user=%s", user.c_str());
    m_observers.ForEach([&](IUserLogonObserver* observer) { observer->OnLogon(time, user.c_str()); });
}

/// The user of a session; false when the logon can't be resolved to one yet.
bool CUserLogon::_QueryLogonUser(uint32_t sessionId, std::wstring& user) {
    const SessionText name = QuerySessionText(sessionId, WTSUserName);
    // A failure whose error is 0 goes on with an empty user; observers are told of the logon all the same.
    if (!name.succeeded) return name.error == ERROR_SUCCESS;
    if (name.text.empty()) return false;
    const SessionText domain = QuerySessionText(sessionId, WTSDomainName);
    user = domain.text.empty() ? name.text : domain.text + L"\\" + name.text;
    return true;
}

bool CUserLogon::IsUserLogged() {
    TRACE_SCOPE("CUserLogon::IsUserLogged");
    UserRecord record;
    if (!VxUsersLibrary::Instance().Fill(VxUsersLibrary::kSrvGetCurrentUserInfoAdvanced, record)) {
        TRACE_LINE(trace::kWarning, L"SrvGetCurrentUserInfoAdvanced failed");
        return false;
    }
    if (record.name[0] == 0) {
        TRACE_LINE(trace::kWarning, L"%s", L"user empty");
        return false;
    }
    return true;
}

void CUserLogon::GetCurrentUser(std::wstring& user, std::wstring& appData) {
    TRACE_SCOPE("CUserLogon::GetCurrentUser");
    user.clear();
    appData.clear();
    UserRecord record;
    if (!VxUsersLibrary::Instance().Fill(VxUsersLibrary::kSrvGetCurrentUserInfoAdvanced, record)) return;
    if (record.name[0] != 0) user = QualifiedName(record);
    appData = record.appData;
}

void CUserLogon::GetCurrentUserAppData(std::wstring& appData) {
    std::wstring user;
    GetCurrentUser(user, appData);
}

std::wstring CUserLogon::User() {
    CriticalSectionGuard guard(m_lock);
    return m_user;
}

std::wstring CUserLogon::AppData() {
    CriticalSectionGuard guard(m_lock);
    return m_appData;
}

}  // namespace optimizer
