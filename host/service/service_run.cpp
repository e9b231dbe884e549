#include <map>
#include <string>

#include <windows.h>

#include "frame/handles.h"
#include "frame/slim_lock.h"
#include "frame/text.h"
#include "frame/trace.h"
#include "host/service/agent_starter.h"
#include "host/service/engine_host.h"
#include "host/service/logged_on.h"
#include "host/service/pipe_names.h"
#include "host/service/service_control.h"
#include "host/settings_check/settings_check.h"
#include "trust/file_trust.h"

namespace host {

namespace {

constexpr DWORD kStartHintMs = 30000;
constexpr DWORD kStopHintMs = 60000;

/// The service's own exit codes.
constexpr DWORD kDoesNotStart = 1;
constexpr DWORD kPipeIsTaken = 2;

struct EventSourceTraits {
    using Type = HANDLE;
    static Type Invalid() noexcept { return nullptr; }
    static void Close(Type source) { DeregisterEventSource(source); }
};

/// To the system's application log, where people look for why a service ended.
void WriteEvent(const std::wstring& sentence) {
    const optimizer::UniqueHandle<EventSourceTraits> source(RegisterEventSourceW(nullptr, kServiceName));
    const wchar_t* texts[] = {sentence.c_str()};
    if (source)
        ReportEventW(source.Get(), EVENTLOG_ERROR_TYPE, 0, kDoesNotStart, nullptr, 1, 0, texts, nullptr);
}

/// The one service of this process. The dispatcher calls without a context at first, hence the static object.
class Service {
public:
    static Service& Instance() {
        static Service instance;
        return instance;
    }

    void SetPluginList(const std::wstring& path) { m_pluginList = path; }
    void Main();
    DWORD OnControl(DWORD control, DWORD event, void* data);

private:
    void _BeginAgents();
    void _EndAgents();
    void _TellNewLogons(const std::map<uint32_t, std::wstring>& before);
    void _OnSessionChange(DWORD event, const WTSSESSION_NOTIFICATION* notification);
    void _Report(DWORD state, DWORD hintMs, DWORD error);

    std::wstring m_pluginList;
    EngineHost m_host;
    SERVICE_STATUS_HANDLE m_status = nullptr;
    DWORD m_failure = 0;
    optimizer::KernelHandle m_stop;
    optimizer::CSlimLock m_agentLock;  // held while agents are started, for which the plug-ins must be there
    bool m_startsAgents GUARDED_BY(m_agentLock) = false;
};

DWORD WINAPI HandleControl(DWORD control, DWORD event, void* data, void*) {
    return Service::Instance().OnControl(control, event, data);
}

void WINAPI ServiceMain(DWORD, wchar_t**) {
    Service::Instance().Main();
}

void Service::Main() {
    TRACE_SCOPE("Service::Main");
    m_stop.Reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    m_status = RegisterServiceCtrlHandlerExW(kServiceName, &HandleControl, nullptr);
    if (m_status == nullptr || !m_stop) return;
    _Report(SERVICE_START_PENDING, kStartHintMs, NO_ERROR);
    optimizer::trace::LogHolder log;
    log.Get();
    for (const SettingsFinding& finding : CheckSettings(FindSettingsFolder())) {
        TRACE_LINE(optimizer::trace::kError, L"%s", finding.sentence.c_str());
    }
    for (const std::wstring& folder : {FindSettingsFolder(), ShippedSettingsFolder()}) {
        for (const std::wstring& sentence : optimizer::UnusedIn(folder))
            TRACE_LINE(optimizer::trace::kError, L"%s", sentence.c_str());
    }
    const auto before = LoggedOn();
    std::wstring problem;
    if (!m_host.Start(m_pluginList, problem)) {
        TRACE_LINE(optimizer::trace::kError, L"%s", problem.c_str());
        WriteEvent(problem);
        m_failure = HeldPipesSentence().empty() ? kDoesNotStart : kPipeIsTaken;
        _Report(SERVICE_STOPPED, 0, ERROR_SERVICE_SPECIFIC_ERROR);
        return;
    }
    // Before anybody may know that the service runs: a change of profile that comes at once finds its agent
    // expected.
    _BeginAgents();
    _Report(SERVICE_RUNNING, 0, NO_ERROR);
    _TellNewLogons(before);
    WaitForSingleObject(m_stop.Get(), INFINITE);
    _Report(SERVICE_STOP_PENDING, kStopHintMs, NO_ERROR);
    _EndAgents();
    m_host.Stop();
    _Report(SERVICE_STOPPED, 0, NO_ERROR);
}

DWORD Service::OnControl(DWORD control, DWORD event, void* data) {
    switch (control) {
        case SERVICE_CONTROL_STOP:
        case SERVICE_CONTROL_SHUTDOWN:
            SetEvent(m_stop.Get());
            return NO_ERROR;
        case SERVICE_CONTROL_SESSIONCHANGE:
            _OnSessionChange(event, static_cast<const WTSSESSION_NOTIFICATION*>(data));
            return NO_ERROR;
        case SERVICE_CONTROL_INTERROGATE:
            return NO_ERROR;
        default:
            return ERROR_CALL_NOT_IMPLEMENTED;
    }
}

void Service::_BeginAgents() {
    const optimizer::LockGuard guard(m_agentLock);
    StartAgents(m_host.Components());
    m_startsAgents = true;
}

/// From here on a session change that comes late starts none.
void Service::_EndAgents() {
    const optimizer::LockGuard guard(m_agentLock);
    m_startsAgents = false;
}

/// The system tells of session changes once the service runs. Whoever logged on while it started may have
/// come after the engine looked whom to restore for; to tell of a logon twice does nothing the second time.
void Service::_TellNewLogons(const std::map<uint32_t, std::wstring>& before) {
    for (const uint32_t session : NewLogons(before, LoggedOn())) {
        const WTSSESSION_NOTIFICATION notification = {sizeof(notification), session};
        _OnSessionChange(WTS_SESSION_LOGON, &notification);
    }
}

void Service::_OnSessionChange(DWORD event, const WTSSESSION_NOTIFICATION* notification) {
    // The agent first: what the engine does at a logon, it does in that session, and it waits for no agent
    // that isn't expected.
    if (event == WTS_SESSION_LOGON && notification != nullptr) {
        const optimizer::LockGuard guard(m_agentLock);
        if (m_startsAgents) StartAgent(m_host.Components(), notification->dwSessionId);
    }
    m_host.OnSessionChange(event, notification);
}

void Service::_Report(DWORD state, DWORD hintMs, DWORD error) {
    SERVICE_STATUS status = {};
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwCurrentState = state;
    status.dwWin32ExitCode = error;
    status.dwServiceSpecificExitCode = error == ERROR_SERVICE_SPECIFIC_ERROR ? m_failure : 0;
    status.dwWaitHint = hintMs;
    if (state == SERVICE_RUNNING) {
        status.dwControlsAccepted =
            SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN | SERVICE_ACCEPT_SESSIONCHANGE;
    }
    SetServiceStatus(m_status, &status);
}

}  // namespace

bool RunService(const std::wstring& pluginList, std::wstring& problem) {
    Service::Instance().SetPluginList(pluginList);
    std::wstring name = kServiceName;
    const SERVICE_TABLE_ENTRYW table[] = {{name.data(), &ServiceMain}, {nullptr, nullptr}};
    if (StartServiceCtrlDispatcherW(table)) return true;
    const DWORD error = GetLastError();
    problem = L"Only the service manager starts this program with \"run\": " +
              optimizer::SystemErrorText(error) + L". Use \"console\" to run it by hand.";
    return false;
}

}  // namespace host
