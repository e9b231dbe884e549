#include "plugins/process_list.h"

#include <utility>

#include <windows.h>

#include <tlhelp32.h>

namespace host {

namespace {

constexpr DWORD kLongestPath = 32767;  // characters

bool HasEnded(const RunningProcess& running) {
    return running.process && WaitForSingleObject(running.process.Get(), 0) == WAIT_OBJECT_0;
}

/// Without a handle it is told by what the list says of it.
bool IsStill(const RunningProcess& running, const PROCESSENTRY32W& entry) {
    if (running.process) return !HasEnded(running);
    return running.parentPid == entry.th32ParentProcessID && running.imageName == entry.szExeFile;
}

std::wstring PathOf(HANDLE process) {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        auto length = static_cast<DWORD>(path.size());
        if (QueryFullProcessImageNameW(process, 0, path.data(), &length)) {
            path.resize(length);
            return path;
        }
        const DWORD error = GetLastError();
        if (error != ERROR_INSUFFICIENT_BUFFER || path.size() >= kLongestPath) return {};
        path.resize(kLongestPath);
    }
}

std::shared_ptr<RunningProcess> Open(const PROCESSENTRY32W& entry) {
    auto running = std::make_shared<RunningProcess>();
    running->pid = entry.th32ProcessID;
    running->parentPid = entry.th32ParentProcessID;
    running->imageName = entry.szExeFile;
    running->process.Reset(
        OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION | SYNCHRONIZE, FALSE, entry.th32ProcessID));
    if (running->process) running->path = PathOf(running->process.Get());
    return running;
}

}  // namespace

uint32_t TakeProcessList(const ProcessList& earlier, ProcessList& out) {
    const optimizer::FileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    if (!snapshot) return GetLastError();
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    ProcessList now;
    for (BOOL found = Process32FirstW(snapshot.Get(), &entry); found;
         found = Process32NextW(snapshot.Get(), &entry)) {
        const auto known = earlier.find(entry.th32ProcessID);
        const bool isKnown = known != earlier.end() && IsStill(*known->second, entry);
        // One that was met while the system still made it has no path at first. Asked again, it becomes
        // another object: without a path it was of no use to anybody.
        auto opened = !isKnown || known->second->path.empty() ? Open(entry) : nullptr;
        if (isKnown && (opened == nullptr || opened->path.empty())) {
            now.insert(*known);
            continue;
        }
        // Somebody's handle may keep an ended process in the system's list.
        if (!HasEnded(*opened)) now.emplace(entry.th32ProcessID, std::move(opened));
    }
    const DWORD error = GetLastError();
    if (error != ERROR_NO_MORE_FILES) return error != ERROR_SUCCESS ? error : uint32_t{ERROR_GEN_FAILURE};
    out = std::move(now);
    return ERROR_SUCCESS;
}

RunningProcesses MissingIn(const ProcessList& to, const ProcessList& from) {
    RunningProcesses missing;
    for (const auto& [pid, running] : from) {
        const auto found = to.find(pid);
        if (found == to.end() || found->second != running) missing.push_back(running);
    }
    return missing;
}

}  // namespace host
