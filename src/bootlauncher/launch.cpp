#include "bootlauncher/launch.h"

#include "frame/handles.h"
#include "frame/module_path.h"

namespace optimizer {

/// The system's search looks in the program's folder first, and in the current folder and along PATH when it
/// finds nothing there. What somebody else put into those must not run as the service's account, so that it
/// isn't searched for: where the program exists, nothing changes by that.
uint32_t Launch(const std::wstring& commandLine) {
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION information = {};
    std::wstring writable = commandLine;  // the system writes into it
    const std::wstring program = GetProgramFolder() + L"BootLauncher.exe";
    const BOOL created = CreateProcessW(program.c_str(), writable.data(), nullptr, nullptr, TRUE,
                                        CREATE_NO_WINDOW, nullptr, nullptr, &startup, &information);
    const DWORD error = GetLastError();
    const KernelHandle process(information.hProcess);
    const KernelHandle thread(information.hThread);
    if (created) return ERROR_SUCCESS;
    return error != ERROR_SUCCESS ? error : uint32_t{ERROR_GEN_FAILURE};
}

}  // namespace optimizer
