#include "tests/support/simulated_scm.h"

#include <algorithm>
#include <utility>

namespace test_support {

namespace {

using Guard = std::lock_guard<std::mutex>;
/// What a handle points to; the manager's has no name.
using Entry = std::pair<const std::wstring, SimulatedService>;

constexpr auto& g_scm = SimulatedScm::s_current;
Entry g_manager;

/// What a control leads to, and its pending state.
constexpr DWORD kStates[][2] = {
    {SERVICE_RUNNING, SERVICE_START_PENDING},
    {SERVICE_STOPPED, SERVICE_STOP_PENDING},
    {SERVICE_PAUSED, SERVICE_PAUSE_PENDING},
    {SERVICE_RUNNING, SERVICE_CONTINUE_PENDING},
};

Entry& EntryOf(SC_HANDLE handle) {
    return *reinterpret_cast<Entry*>(handle);
}

void Note(const wchar_t* what, const std::wstring& name, DWORD number) {
    wchar_t text[64] = {};
    _snwprintf(text, 63, L"%s %s %lx", what, name.c_str(), number);
    g_scm->calls.emplace_back(text);
}

BOOL Fail(DWORD error) {
    SetLastError(error);
    return FALSE;
}

BOOL Answer(const wchar_t* what) {
    const DWORD error = g_scm->errors[what];
    return error == 0 || Fail(error);
}

/// What the system answers to a control that the service can't take where it is.
DWORD Refusal(const SimulatedService& service, DWORD control) {
    if (control == 0 && service.startType == SERVICE_DISABLED) return ERROR_SERVICE_DISABLED;
    if (control == 0) return service.state == SERVICE_STOPPED ? 0 : ERROR_SERVICE_ALREADY_RUNNING;
    if (service.state == SERVICE_STOPPED) return ERROR_SERVICE_NOT_ACTIVE;
    const bool isSettled = service.state == SERVICE_RUNNING || service.state == SERVICE_PAUSED;
    return isSettled ? 0 : ERROR_SERVICE_CANNOT_ACCEPT_CTRL;
}

SC_HANDLE Open(Entry& entry) {
    ++g_scm->openHandles;
    return reinterpret_cast<SC_HANDLE>(&entry);
}

SC_HANDLE WINAPI OpenManager(LPCWSTR, LPCWSTR, DWORD) {
    const Guard guard(g_scm->lock);
    return Answer(L"manager") ? Open(g_manager) : nullptr;
}

SC_HANDLE WINAPI OpenByName(SC_HANDLE, LPCWSTR name, DWORD access) {
    const Guard guard(g_scm->lock);
    Note(L"open", name, access);
    const auto found = std::ranges::find_if(
        g_scm->services, [&](const Entry& entry) { return _wcsicmp(entry.first.c_str(), name) == 0; });
    if (found != g_scm->services.end()) return Open(*found);
    return Fail(ERROR_SERVICE_DOES_NOT_EXIST), nullptr;
}

BOOL WINAPI CloseIt(SC_HANDLE) {
    const Guard guard(g_scm->lock);
    --g_scm->openHandles;
    return TRUE;
}

BOOL WINAPI Query(SC_HANDLE handle, LPSERVICE_STATUS status) {
    if (g_scm->onQuery) g_scm->onQuery();
    const Guard guard(g_scm->lock);
    g_scm->tick += g_scm->ticksPerQuery;
    status->dwCurrentState = EntryOf(handle).second.state;
    return Answer(L"query");
}

BOOL WINAPI Control(SC_HANDLE handle, DWORD control, LPSERVICE_STATUS) {
    const Guard guard(g_scm->lock);
    auto& [name, service] = EntryOf(handle);
    Note(L"control", name, control);
    if (!Answer(L"control")) return FALSE;
    if (const DWORD refusal = Refusal(service, control)) return Fail(refusal);
    service.target = kStates[control][0];
    if (!service.late) service.state = kStates[control][service.slow ? 1 : 0];
    return TRUE;
}

BOOL WINAPI StartIt(SC_HANDLE handle, DWORD, LPCWSTR*) {
    return Control(handle, 0, nullptr);
}

BOOL WINAPI QueryConfig(SC_HANDLE handle, LPQUERY_SERVICE_CONFIGW config, DWORD sizeBytes,
                        LPDWORD neededBytes) {
    const Guard guard(g_scm->lock);
    if (!Answer(L"config")) return FALSE;
    *neededBytes = sizeof(*config) + 100;
    if (sizeBytes < *neededBytes) return Fail(ERROR_INSUFFICIENT_BUFFER);
    config->dwStartType = EntryOf(handle).second.startType;
    return TRUE;
}

BOOL WINAPI ChangeConfig(SC_HANDLE handle, DWORD type, DWORD startType, DWORD errorControl, LPCWSTR, LPCWSTR,
                         LPDWORD, LPCWSTR, LPCWSTR, LPCWSTR, LPCWSTR) {
    const Guard guard(g_scm->lock);
    if ((type & errorControl) != SERVICE_NO_CHANGE) return Fail(ERROR_INVALID_PARAMETER);
    auto& [name, service] = EntryOf(handle);
    Note(L"type", name, startType);
    service.startType = startType;
    return TRUE;
}

void WINAPI SleepByHand(DWORD ms) {
    if (g_scm == nullptr) return;
    if (g_scm->sleepTakesTime) g_scm->tick += ms;
    if (g_scm->onSleep) g_scm->onSleep(ms);
    SwitchToThread();
}

DWORD WINAPI TickByHand() {
    return g_scm != nullptr ? g_scm->tick.load() : 0;
}

}  // namespace

void SimulatedScm::Settle() {
    const Guard guard(lock);
    for (auto& [name, service] : services) {
        if (service.target != 0) service.state = std::exchange(service.target, 0);
    }
}

}  // namespace test_support

// The linker takes these for the program's imports.
extern "C" {
decltype(&OpenSCManagerW) __imp_OpenSCManagerW = &test_support::OpenManager;
decltype(&OpenServiceW) __imp_OpenServiceW = &test_support::OpenByName;
decltype(&CloseServiceHandle) __imp_CloseServiceHandle = &test_support::CloseIt;
decltype(&QueryServiceStatus) __imp_QueryServiceStatus = &test_support::Query;
decltype(&ControlService) __imp_ControlService = &test_support::Control;
decltype(&StartServiceW) __imp_StartServiceW = &test_support::StartIt;
decltype(&QueryServiceConfigW) __imp_QueryServiceConfigW = &test_support::QueryConfig;
decltype(&ChangeServiceConfigW) __imp_ChangeServiceConfigW = &test_support::ChangeConfig;
decltype(&Sleep) __imp_Sleep = &test_support::SleepByHand;
decltype(&GetTickCount) __imp_GetTickCount = &test_support::TickByHand;
}
