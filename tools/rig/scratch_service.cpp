// A real service that does nothing but follow the service manager: scratch_service.exe NAME
#include <string>

#include <windows.h>

namespace {

SERVICE_STATUS_HANDLE g_handle = nullptr;
HANDLE g_stop = nullptr;
std::wstring g_name;

void Report(DWORD state) {
    SERVICE_STATUS status = {};
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwCurrentState = state;
    status.dwControlsAccepted = SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_PAUSE_CONTINUE;
    SetServiceStatus(g_handle, &status);
}

DWORD WINAPI HandleControl(DWORD control, DWORD, void*, void*) {
    if (control == SERVICE_CONTROL_PAUSE) Report(SERVICE_PAUSED);
    if (control == SERVICE_CONTROL_CONTINUE) Report(SERVICE_RUNNING);
    if (control == SERVICE_CONTROL_STOP) SetEvent(g_stop);
    return NO_ERROR;
}

void WINAPI ServiceMain(DWORD, wchar_t**) {
    g_handle = RegisterServiceCtrlHandlerExW(g_name.c_str(), &HandleControl, nullptr);
    Report(SERVICE_RUNNING);
    WaitForSingleObject(g_stop, INFINITE);
    Report(SERVICE_STOPPED);
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    if (count != 2) return 2;
    g_name = arguments[1];
    g_stop = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    const SERVICE_TABLE_ENTRYW table[] = {{g_name.data(), &ServiceMain}, {nullptr, nullptr}};
    return StartServiceCtrlDispatcherW(table) ? 0 : 1;
}
