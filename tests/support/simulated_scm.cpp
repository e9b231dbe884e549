#include "tests/support/simulated_scm.h"

#include <cstdlib>
#include <new>

namespace test_support {

namespace {

SimulatedScm* g_scm = nullptr;
using Guard = std::lock_guard<std::recursive_mutex>;

std::wstring Hex(DWORD number) {
    wchar_t text[16] = {};
    _snwprintf(text, 15, L"%x", static_cast<unsigned>(number));
    return text;
}

SC_HANDLE NewHandle(const std::wstring& name) {
    ++g_scm->openHandles;
    return reinterpret_cast<SC_HANDLE>(new std::wstring(name));
}

const std::wstring& NameOf(SC_HANDLE handle) {
    return *reinterpret_cast<const std::wstring*>(handle);
}

SimulatedService& ServiceOf(SC_HANDLE handle) {
    return g_scm->services.at(NameOf(handle));
}

BOOL Answer(DWORD error) {
    if (error != 0) SetLastError(error);
    return error == 0;
}

SC_HANDLE WINAPI OpenManager(LPCWSTR, LPCWSTR, DWORD access) {
    const Guard guard(g_scm->lock);
    g_scm->calls.push_back(L"manager " + Hex(access));
    return Answer(g_scm->managerError) ? NewHandle(L"") : nullptr;
}

SC_HANDLE WINAPI OpenByName(SC_HANDLE manager, LPCWSTR name, DWORD access) {
    const Guard guard(g_scm->lock);
    if (manager == nullptr) return Answer(ERROR_INVALID_HANDLE), nullptr;
    g_scm->calls.push_back(L"open " + std::wstring(name) + L" " + Hex(access));
    if (g_scm->openErrors.contains(name)) return Answer(g_scm->openErrors[name]), nullptr;
    const auto found = g_scm->services.find(name);
    return Answer(found != g_scm->services.end() ? 0 : ERROR_SERVICE_DOES_NOT_EXIST) ? NewHandle(found->first)
                                                                                     : nullptr;
}

BOOL WINAPI CloseIt(SC_HANDLE handle) {
    const Guard guard(g_scm->lock);
    --g_scm->openHandles;
    delete reinterpret_cast<std::wstring*>(handle);
    return TRUE;
}

BOOL WINAPI Query(SC_HANDLE handle, LPSERVICE_STATUS status) {
    if (g_scm->onQuery) g_scm->onQuery(NameOf(handle));
    const Guard guard(g_scm->lock);
    g_scm->tick += g_scm->ticksPerQuery;
    status->dwCurrentState = ServiceOf(handle).state;
    return Answer(ServiceOf(handle).queryError);
}

BOOL Command(SC_HANDLE handle, const std::wstring& call, DWORD state, DWORD pending) {
    g_scm->calls.push_back(call);
    SimulatedService& service = ServiceOf(handle);
    if (service.commandError == 0) service.state = service.slow ? pending : state;
    return Answer(service.commandError);
}

BOOL WINAPI Control(SC_HANDLE handle, DWORD control, LPSERVICE_STATUS) {
    const Guard guard(g_scm->lock);
    const std::wstring call = L"control " + NameOf(handle) + L" " + Hex(control);
    switch (control) {
        case SERVICE_CONTROL_STOP:
            return Command(handle, call, SERVICE_STOPPED, SERVICE_STOP_PENDING);
        case SERVICE_CONTROL_PAUSE:
            return Command(handle, call, SERVICE_PAUSED, SERVICE_PAUSE_PENDING);
        default:
            return Command(handle, call, SERVICE_RUNNING, SERVICE_CONTINUE_PENDING);
    }
}

BOOL WINAPI StartIt(SC_HANDLE handle, DWORD, LPCWSTR*) {
    const Guard guard(g_scm->lock);
    return Command(handle, L"start " + NameOf(handle), SERVICE_RUNNING, SERVICE_START_PENDING);
}

BOOL WINAPI QueryConfig(SC_HANDLE handle, LPQUERY_SERVICE_CONFIGW config, DWORD sizeBytes,
                        LPDWORD neededBytes) {
    const Guard guard(g_scm->lock);
    const SimulatedService& service = ServiceOf(handle);
    *neededBytes = sizeof(*config) + 100;
    if (service.configError != 0) return Answer(service.configError);
    if (sizeBytes < *neededBytes) return Answer(ERROR_INSUFFICIENT_BUFFER);
    *config = {};
    config->dwStartType = service.startType;
    return TRUE;
}

BOOL WINAPI ChangeConfig(SC_HANDLE handle, DWORD type, DWORD startType, DWORD errorControl, LPCWSTR, LPCWSTR,
                         LPDWORD, LPCWSTR, LPCWSTR, LPCWSTR, LPCWSTR) {
    const Guard guard(g_scm->lock);
    g_scm->calls.push_back(L"startup " + NameOf(handle) + L" " + Hex(startType));
    if (type != SERVICE_NO_CHANGE || errorControl != SERVICE_NO_CHANGE)
        return Answer(ERROR_INVALID_PARAMETER);
    SimulatedService& service = ServiceOf(handle);
    if (service.changeError == 0) service.startType = startType;
    return Answer(service.changeError);
}

void WINAPI SleepByHand(DWORD ms) {
    if (g_scm == nullptr) return;
    {
        const Guard guard(g_scm->lock);
        g_scm->tick += ms;
    }
    if (g_scm->onSleep) g_scm->onSleep(ms);
    SwitchToThread();
}

DWORD WINAPI TickByHand() {
    if (g_scm == nullptr) return 0;
    const Guard guard(g_scm->lock);
    return g_scm->tick;
}

}  // namespace

SimulatedScm::SimulatedScm() {
    g_scm = this;
}

SimulatedScm::~SimulatedScm() {
    g_scm = nullptr;
}

DWORD SimulatedScm::State(const std::wstring& name) {
    const Guard guard(lock);
    return services.at(name).state;
}

std::vector<std::wstring> SimulatedScm::Calls() {
    const Guard guard(lock);
    return calls;
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
