#include "bootlauncher/boot_launcher_check_exec.h"

#include "bootlauncher/launch.h"
#include "frame/trace.h"

namespace optimizer {

namespace {

/// The whole argument is quoted, so that a path with blanks stays one.
std::wstring CommandLine(const std::wstring& appData) {
    const std::wstring program = L"BootLauncher.exe ";
    return program + (appData.empty() ? L"/checkcrtuser" : L"\"/checkuser:" + appData + L"\"");
}

}  // namespace

void CBootLauncherCheckExec::OnLogon(uint32_t, const wchar_t*) {}

void CBootLauncherCheckExec::OnLogoff(uint32_t, const wchar_t*) {
    Run();
}

void CBootLauncherCheckExec::Run() {
    TRACE_SCOPE("CBootLauncherCheckExec::Run");
    // A logoff leaves the folder with the tracker, so that it is the leaving user's.
    const std::wstring appData = CUserLogon::Instance().AppData();
    if (appData.find(L'"') != std::wstring::npos) {
        // No folder is called so, but users choose what their profile says; the rest would be more arguments.
        TRACE_LINE(trace::kError, L"No check of a folder with a quotation mark: %s", appData.c_str());
        return;
    }
    const std::wstring command = CommandLine(appData);
    const uint32_t error = Launch(command);
    if (error == 0) {
        TRACE_LINE(trace::kInformation, L"Process = '%s' created", command.c_str());
    } else {
        TRACE_LINE(trace::kError, L"Process = '%s' could not be created. Error = %d", command.c_str(), error);
    }
}

}  // namespace optimizer
