#include "actions/windows_service.h"

namespace optimizer {

namespace {

constexpr DWORD kAbortPollMs = 10;
constexpr DWORD kStatePollMs = 1000;
constexpr uint32_t kNoLimit = 0xFFFFFFFF;

struct StateText {
    DWORD state;
    const wchar_t* text;
};

/// Counts an operation while it runs.
class ActiveOperation {
public:
    explicit ActiveOperation(std::atomic<uint32_t>& count) : m_count(count) { ++m_count; }
    ~ActiveOperation() { --m_count; }
    ActiveOperation(const ActiveOperation&) = delete;
    ActiveOperation& operator=(const ActiveOperation&) = delete;

private:
    std::atomic<uint32_t>& m_count;
};

uint32_t WaitForServiceState(SC_HANDLE service, DWORD state, uint32_t timeoutMs,
                             const std::atomic<uint32_t>& abortRequested) {
    const uint32_t deadline = GetTickCount() + timeoutMs;
    while (abortRequested != 1) {
        SERVICE_STATUS status = {};
        // A status that can't be had any more counts as the state awaited.
        if (!QueryServiceStatus(service, &status) || status.dwCurrentState == state) return 0;
        // The test has this direction on purpose: a limit that is still ahead ends the wait at the first
        // look, and one that has passed keeps looking until the state comes or somebody aborts.
        if (timeoutMs != kNoLimit && deadline > GetTickCount()) return ERROR_TIMEOUT;
        Sleep(kStatePollMs);
    }
    return ERROR_OPERATION_ABORTED;
}

}  // namespace

/// What tells one command from another.
struct ServiceCommand {
    DWORD access;
    const wchar_t* queryFailure;
    StateText done[2];    // states in which nothing is left to do
    StateText pending;    // the state of a command that somebody gave before
    DWORD pendingTarget;  // awaited then
    DWORD control;        // 0: start the service
    const wchar_t* failure;
    DWORD target;  // awaited after the command
};

namespace {

constexpr const wchar_t* kQueryFailure = L"QueryServiceStatus failed 0x%x";

constexpr ServiceCommand kStop = {
    SERVICE_STOP | SERVICE_QUERY_STATUS,
    kQueryFailure,
    {{SERVICE_STOPPED, L"Service is already stopped"}},
    {SERVICE_STOP_PENDING, L"SERVICE_STOP_PENDING"},
    SERVICE_STOPPED,
    SERVICE_CONTROL_STOP,
    L"ControlService SERVICE_CONTROL_STOP failed 0x%x",
    SERVICE_STOPPED,
};
constexpr ServiceCommand kStart = {
    SERVICE_START | SERVICE_QUERY_STATUS,
    L"QueryServiceStatusEx failed 0x%x",  // the call is QueryServiceStatus here too
    {{SERVICE_RUNNING, L"Already running."}},
    {SERVICE_START_PENDING, L"SERVICE_START_PENDING"},
    SERVICE_RUNNING,
    0,
    L"StartService failed 0x%x",
    SERVICE_STOPPED,  // and not running: deliberate, and relied upon
};
constexpr ServiceCommand kPause = {
    SERVICE_PAUSE_CONTINUE | SERVICE_QUERY_STATUS,
    kQueryFailure,
    {{SERVICE_STOPPED, L"Service is already stopped"}, {SERVICE_PAUSED, L"Service is already paused"}},
    {SERVICE_PAUSE_PENDING, L"SERVICE_PAUSE_PENDING"},
    SERVICE_PAUSED,
    SERVICE_CONTROL_PAUSE,
    L"ControlService SERVICE_CONTROL_PAUSE failed 0x%x",
    SERVICE_PAUSED,
};
constexpr ServiceCommand kResume = {
    SERVICE_PAUSE_CONTINUE | SERVICE_QUERY_STATUS,
    kQueryFailure,
    {{SERVICE_STOPPED, L"Service is already stopped"}, {SERVICE_RUNNING, L"Service is already running"}},
    {SERVICE_CONTINUE_PENDING, L"SERVICE_CONTINUE_PENDING"},
    SERVICE_RUNNING,
    SERVICE_CONTROL_CONTINUE,
    L"ControlService SERVICE_CONTROL_CONTINUE failed 0x%x",
    SERVICE_RUNNING,
};

}  // namespace

bool CWindowsService::Init() {
    TRACE_SCOPE("CWindowsService::Init");
    m_serviceManager.Reset(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
    if (m_serviceManager) return true;
    const DWORD error = GetLastError();
    TRACE_LINE(trace::kError, L"OpenSCManager failed 0x%x", error);
    return false;
}

void CWindowsService::Uninit() {
    TRACE_SCOPE("CWindowsService::Uninit");
    m_serviceManager.Reset();
}

void CWindowsService::AbortOperations() {
    TRACE_SCOPE("CWindowsService::AbortOperations");
    if (m_activeOperations == 0) return;
    m_abortRequested |= 1;
    while (m_activeOperations != 0)
        Sleep(kAbortPollMs);
    m_abortRequested = 0;
}

/// The frame of every status and control operation; `action` is what it does with the open service.
template <class Action>
uint32_t CWindowsService::_Operate(const trace::LogScope& traceScope, const wchar_t* name, DWORD access,
                                   Action action) {
    const ActiveOperation active(m_activeOperations);
    if (name == nullptr) return ERROR_INVALID_PARAMETER;
    TRACE_LINE(trace::kInformation, L"Service = %s", name);
    ServiceHandle service(OpenServiceW(m_serviceManager.Get(), name, access));
    if (!service) {
        const DWORD error = GetLastError();
        TRACE_LINE(trace::kError, L"OpenService failed 0x%x", error);
        return error;
    }
    const uint32_t result = action(service.Get());
    service.Reset();
    TRACE_LINE(trace::kInformation, L"ret = 0x%x", result);
    return result;
}

uint32_t CWindowsService::_Command(const trace::LogScope& traceScope, const ServiceCommand& command,
                                   const wchar_t* name, uint32_t timeoutMs) {
    return _Operate(traceScope, name, command.access, [&](SC_HANDLE service) -> uint32_t {
        if (m_abortRequested == 1) return ERROR_OPERATION_ABORTED;
        SERVICE_STATUS status = {};
        if (!QueryServiceStatus(service, &status)) {
            const DWORD error = GetLastError();
            TRACE_LINE(trace::kError, command.queryFailure, error);
            return error;
        }
        for (const StateText& done : command.done) {
            if (done.text == nullptr || done.state != status.dwCurrentState) continue;
            TRACE_LINE(trace::kInformation, done.text);
            return 0;
        }
        if (status.dwCurrentState == command.pending.state) {
            TRACE_LINE(trace::kInformation, command.pending.text);
            return WaitForServiceState(service, command.pendingTarget, timeoutMs, m_abortRequested);
        }
        const BOOL given = command.control != 0 ? ControlService(service, command.control, &status)
                                                : ::StartServiceW(service, 0, nullptr);
        if (!given) {
            const DWORD error = GetLastError();
            TRACE_LINE(trace::kError, command.failure, error);
            return error;
        }
        return WaitForServiceState(service, command.target, timeoutMs, m_abortRequested);
    });
}

uint32_t CWindowsService::StopService(const wchar_t* name, uint32_t timeoutMs) {
    TRACE_SCOPE("CWindowsService::StopService");
    return _Command(traceScope, kStop, name, timeoutMs);
}

uint32_t CWindowsService::StartServiceW(const wchar_t* name, uint32_t timeoutMs) {
    TRACE_SCOPE("CWindowsService::StartServiceW");
    return _Command(traceScope, kStart, name, timeoutMs);
}

uint32_t CWindowsService::PauseService(const wchar_t* name, uint32_t timeoutMs) {
    TRACE_SCOPE("CWindowsService::PauseService");
    return _Command(traceScope, kPause, name, timeoutMs);
}

uint32_t CWindowsService::ResumeService(const wchar_t* name, uint32_t timeoutMs) {
    TRACE_SCOPE("CWindowsService::ResumeService");
    return _Command(traceScope, kResume, name, timeoutMs);
}

uint32_t CWindowsService::GetServiceStatus(const wchar_t* name, uint32_t* state) {
    TRACE_SCOPE("CWindowsService::GetServiceStatus");
    // Asks for the right to pause and continue too.
    return _Operate(traceScope, name, kPause.access, [&](SC_HANDLE service) -> uint32_t {
        SERVICE_STATUS status = {};
        if (!QueryServiceStatus(service, &status)) {
            const DWORD error = GetLastError();
            TRACE_LINE(trace::kError, kQueryFailure, error);
            return error;
        }
        *state = status.dwCurrentState;
        return 0;
    });
}

uint32_t CWindowsService::_OpenForConfig(const trace::LogScope& traceScope, const wchar_t* name, DWORD access,
                                         ServiceHandle& service) {
    service.Reset(OpenServiceW(m_serviceManager.Get(), name, access));
    if (service) return 0;
    const DWORD error = GetLastError();
    TRACE_LINE(trace::kError, L"OpenService %s failed 0x%x", name, error);
    return error;
}

uint32_t CWindowsService::GetStartup(const wchar_t* name, uint32_t* startType) {
    TRACE_SCOPE("CWindowsService::GetStartup");
    ServiceHandle service;
    const uint32_t openError = _OpenForConfig(traceScope, name, SERVICE_QUERY_CONFIG, service);
    if (openError != 0) return openError;

    DWORD sizeBytes = 0;
    if (!QueryServiceConfigW(service.Get(), nullptr, 0, &sizeBytes)) {
        const DWORD error = GetLastError();
        if (error != ERROR_INSUFFICIENT_BUFFER) return error;
    }
    const LocalMemory memory(LocalAlloc(LMEM_FIXED, sizeBytes));
    if (!memory) return ERROR_OUTOFMEMORY;
    auto* const config = static_cast<QUERY_SERVICE_CONFIGW*>(memory.Get());
    if (!QueryServiceConfigW(service.Get(), config, sizeBytes, &sizeBytes)) return GetLastError();
    *startType = config->dwStartType;
    return 0;
}

uint32_t CWindowsService::SetStartup(const wchar_t* name, uint32_t startType) {
    TRACE_SCOPE("CWindowsService::SetStartup");
    ServiceHandle service;
    const uint32_t openError = _OpenForConfig(traceScope, name, SERVICE_CHANGE_CONFIG, service);
    if (openError != 0) return openError;
    const BOOL changed = ChangeServiceConfigW(service.Get(), SERVICE_NO_CHANGE, startType, SERVICE_NO_CHANGE,
                                              nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    return changed ? 0 : GetLastError();
}

}  // namespace optimizer
