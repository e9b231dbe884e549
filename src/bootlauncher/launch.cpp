#include "bootlauncher/launch.h"

#include "frame/handles.h"

namespace optimizer {

uint32_t Launch(const std::wstring& commandLine) {
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION information = {};
    std::wstring writable = commandLine;  // the system writes into it
    const BOOL created = CreateProcessW(nullptr, writable.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW,
                                        nullptr, nullptr, &startup, &information);
    const DWORD error = GetLastError();
    const KernelHandle process(information.hProcess);
    const KernelHandle thread(information.hThread);
    if (created) return ERROR_SUCCESS;
    return error != ERROR_SUCCESS ? error : uint32_t{ERROR_GEN_FAILURE};
}

}  // namespace optimizer
