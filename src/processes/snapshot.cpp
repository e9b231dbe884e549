#include "processes/snapshot.h"

#include <algorithm>

#include <windows.h>

#include <psapi.h>
#include <tlhelp32.h>

#include "frame/handles.h"
#include "frame/text.h"
#include "frame/trace.h"
#include "processes/file_version_info.h"
#include "processes/image_path.h"

namespace optimizer {

namespace {

constexpr DWORD kLongestPath = 32767;  // characters

}  // namespace

CSnapshot::CSnapshot(IServMain* main, ISnapshotObserver* observer)
    : m_observer(observer), m_processDp(std::make_unique<CProcessDP>(main, this)) {}

CSnapshot::~CSnapshot() {
    Stop();
}

bool CSnapshot::Start() {
    TRACE_SCOPE("CSnapshot::Start");
    Stop();  // a feed of an earlier start would go on about a picture that is gone
    {
        CriticalSectionGuard guard(m_lock);
        m_processes.clear();
    }
    TakeSnapshot();
    if (m_processDp->Init()) return true;
    m_processDp->Uninit();
    return false;
}

void CSnapshot::Stop() {
    TRACE_SCOPE("CSnapshot::Stop");
    m_processDp->Uninit();
}

void CSnapshot::TakeSnapshot() {
    TRACE_SCOPE("CSnapshot::TakeSnapshot");
    const FileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    if (!snapshot) {
        const DWORD error = GetLastError();
        TRACE_LINE(trace::kError, L"CreateToolhelp32Snapshot error 0x%x", error);
        return;
    }
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    if (!Process32FirstW(snapshot.Get(), &entry)) {
        const DWORD error = GetLastError();
        TRACE_LINE(trace::kError, L"Process32First error 0x%x", error);
        return;
    }
    // No lock over the slow part: those who ask meanwhile find what was there before.
    ProcessMap running;
    do {
        SnapshotKey key(ToLower(entry.szExeFile), std::wstring());
        std::wstring product;
        if (GetProductName(entry.th32ProcessID, product)) key.second = ToLower(std::move(product));
        running[std::move(key)].push_back(entry.th32ProcessID);
    } while (Process32NextW(snapshot.Get(), &entry));
    const DWORD error = GetLastError();
    if (error != ERROR_SUCCESS && error != ERROR_NO_MORE_FILES) {
        TRACE_LINE(trace::kError, L"Process32Next error 0x%x", error);
    }
    CriticalSectionGuard guard(m_lock);
    m_processes.swap(running);
}

bool CSnapshot::GetProductName(uint32_t pid, std::wstring& product) {
    TRACE_SCOPE("CSnapshot::GetProductName");
    KernelHandle process(OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, pid));
    if (!process) {
        const DWORD error = GetLastError();
        TRACE_LINE(trace::kWarning, L"Failed OpenProcess pid=%d error 0x%x", pid, error);
        return false;
    }
    const auto path = std::make_unique_for_overwrite<wchar_t[]>(kLongestPath);
    const DWORD length = GetModuleFileNameExW(process.Get(), nullptr, path.get(), kLongestPath);
    const DWORD error = GetLastError();
    process.Reset();
    if (length == 0) {
        TRACE_LINE(trace::kWarning, L"Failed GetModuleFileName pid=%d error 0x%x", pid, error);
        return false;
    }
    product = GetProductName(path.get());
    return true;
}

std::wstring CSnapshot::GetProductName(const std::wstring& path) {
    // Whoever starts a program chooses its path, and can rewrite the one that the process tells. A share's
    // server would get the service's own credentials, and could have it wait: it counts as without a product.
    if (!IsOnLocalDrive(path)) return {};
    // Held until the version is read: the file's owner could have the next one who opens it wait for ever.
    const FileHandle held = OpenWithoutWaiting(path);
    if (!held) return {};
    CFileVersionInfo version;
    version.Create(path);  // a file without a version resource has an empty product
    return version.GetProductName();
}

void CSnapshot::GetProcesses(SnapshotKeys& keys) {
    CriticalSectionGuard guard(m_lock);
    for (const auto& entry : m_processes)
        keys.push_back(entry.first);
}

void CSnapshot::GetProcessIds(const SnapshotKey& key, std::vector<uint32_t>& pids) {
    CriticalSectionGuard guard(m_lock);
    const auto found = m_processes.find(key);
    if (found != m_processes.end()) pids = found->second;
}

void CSnapshot::OnProcessNotify(const _PROCESS_NOTIF* record) {
    TRACE_SCOPE("CSnapshot::OnProcessNotify");
    const std::wstring path = record->name;
    const size_t backslash = path.rfind(L'\\');
    const std::wstring name = backslash != std::wstring::npos ? path.substr(backslash + 1) : path;
    if (backslash != std::wstring::npos && name.empty()) return;
    const SnapshotKey key(ToLower(name), ToLower(GetProductName(path)));
    const auto pid = static_cast<int32_t>(record->pid);
    if ((record->flags & _PROCESS_NOTIF::kEnded) == 0) {
        _AddStarted(key, record->pid);
        if (m_observer != nullptr)
            m_observer->OnSnapshotNewProcess(key.first.c_str(), key.second.c_str(), pid);
    } else if (_RemoveEnded(key, record->pid)) {
        if (m_observer != nullptr)
            m_observer->OnSnapshotProcessEnd(key.first.c_str(), key.second.c_str(), pid);
    }
}

void CSnapshot::_AddStarted(const SnapshotKey& key, uint32_t pid) {
    CriticalSectionGuard guard(m_lock);
    m_processes[key].push_back(pid);
}

bool CSnapshot::_RemoveEnded(const SnapshotKey& key, uint32_t pid) {
    CriticalSectionGuard guard(m_lock);
    const auto found = m_processes.find(key);
    if (found == m_processes.end()) return false;
    std::vector<uint32_t>& pids = found->second;
    const auto place = std::find(pids.begin(), pids.end(), pid);
    if (place == pids.end()) return false;
    pids.erase(place);
    if (pids.empty()) m_processes.erase(found);
    return true;
}

}  // namespace optimizer
