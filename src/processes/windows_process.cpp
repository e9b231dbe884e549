#include "processes/windows_process.h"

#include <windows.h>

#include "frame/handles.h"
#include "frame/trace.h"

namespace optimizer {

bool WindowsProcess::SetPriority(uint32_t pid, uint32_t priorityClass) {
    TRACE_SCOPE("WindowsProcess::SetPriority");
    TRACE_LINE(trace::kInformation, L"pid=%d priority=0x%x", pid, priorityClass);
    const KernelHandle process(OpenProcess(PROCESS_SET_INFORMATION, FALSE, pid));
    if (!process) {
        const DWORD error = GetLastError();
        TRACE_LINE(trace::kWarning, L"Failed OpenProcess PROCESS_SET_INFORMATION pid=%d error 0x%x", pid,
                   error);
        return false;
    }
    if (SetPriorityClass(process.Get(), priorityClass)) return true;
    const DWORD error = GetLastError();
    TRACE_LINE(trace::kWarning, L"Failed SetPriorityClass pid=%d priority=0x%x error 0x%x", pid,
               priorityClass, error);
    return false;
}

}  // namespace optimizer
