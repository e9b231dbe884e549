#include "boottime/utils.h"

#include <psapi.h>

#include "frame/trace.h"

namespace boottime::utils {

namespace trace = optimizer::trace;

int64_t SystemTimeMs() {
    FILETIME now = {};
    GetSystemTimeAsFileTime(&now);
    return ToMs(now);
}

int64_t SystemStartTimeMs() {
    return SystemTimeMs() - int64_t{GetTickCount()};
}

std::vector<DWORD> GetAllProcessesPids() {
    TRACE_SCOPE("boottime::utils::GetAllProcessesPids");
    constexpr size_t kMostProcesses = 1024;
    std::vector<DWORD> pids(kMostProcesses);
    DWORD usedBytes = 0;
    if (!EnumProcesses(pids.data(), kMostProcesses * sizeof(DWORD), &usedBytes)) {
        const DWORD error = GetLastError();
        TRACE_LINE(trace::kError, L"EnumProcesses failed error code : %d", error);
        return {};
    }
    pids.resize(usedBytes / sizeof(DWORD));
    return pids;
}

vx::String GetProcessName(HANDLE process) {
    TRACE_SCOPE("boottime::utils::GetProcessName");
    wchar_t name[MAX_PATH + 1] = {};  // older systems don't end a name that fills what they are given
    if (GetModuleFileNameExW(process, nullptr, name, MAX_PATH) == 0) {
        const DWORD error = GetLastError();
        // Another function's name, on purpose: whoever reads these traces searches for this text.
        TRACE_LINE(trace::kWarning, L"QueryFullProcessImageName failed with error code : %lu", error);
        return {};
    }
    return vx::String(name);
}

}  // namespace boottime::utils
