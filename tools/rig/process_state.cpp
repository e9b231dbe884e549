#include "tools/rig/process_state.h"

#include <iterator>
#include <stdexcept>

#include <psapi.h>

#include "frame/handles.h"

namespace rig {

namespace {

optimizer::KernelHandle Open(DWORD processId) {
    optimizer::KernelHandle process(
        OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, processId));
    if (!process) throw std::runtime_error("there is no process " + std::to_string(processId));
    return process;
}

}  // namespace

DWORD PriorityClass(DWORD processId) {
    const DWORD found = GetPriorityClass(Open(processId).Get());
    if (found == 0) throw std::runtime_error("the system doesn't tell a priority class");
    return found;
}

std::wstring PriorityText(DWORD priorityClass) {
    static constexpr struct {
        DWORD value;
        const wchar_t* text;
    } kTexts[] = {
        {IDLE_PRIORITY_CLASS, L"IDLE"},     {BELOW_NORMAL_PRIORITY_CLASS, L"BELOW_NORMAL"},
        {NORMAL_PRIORITY_CLASS, L"NORMAL"}, {ABOVE_NORMAL_PRIORITY_CLASS, L"ABOVE_NORMAL"},
        {HIGH_PRIORITY_CLASS, L"HIGH"},     {REALTIME_PRIORITY_CLASS, L"REALTIME"},
    };
    for (const auto& one : kTexts) {
        if (one.value == priorityClass) return one.text;
    }
    return L"?";
}

size_t PrivateBytes(DWORD processId) {
    PROCESS_MEMORY_COUNTERS counters = {};
    if (!GetProcessMemoryInfo(Open(processId).Get(), &counters, sizeof(counters)))
        throw std::runtime_error("the system doesn't tell a process's memory");
    // The documented twin of PrivateUsage, which Wine leaves at 0. Wine counts what is resident there.
    return counters.PagefileUsage;
}

}  // namespace rig
