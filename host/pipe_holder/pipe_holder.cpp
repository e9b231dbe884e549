#include "host/pipe_holder/pipe_holder.h"

#include <aclapi.h>

#include "frame/handles.h"
#include "trust/accounts.h"

namespace host {

namespace {

constexpr DWORD kBusyPatienceMs = 200;

optimizer::FileHandle OpenToLook(const std::wstring& path) {
    return optimizer::FileHandle(CreateFileW(path.c_str(), READ_CONTROL | FILE_READ_ATTRIBUTES, 0, nullptr,
                                             OPEN_EXISTING, SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS,
                                             nullptr));
}

std::wstring ProgramOf(DWORD process) {
    const optimizer::KernelHandle opened(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process));
    wchar_t path[MAX_PATH] = L"";
    DWORD length = MAX_PATH;
    return opened && QueryFullProcessImageNameW(opened.Get(), 0, path, &length) ? path : L"";
}

}  // namespace

std::wstring PipeOwner(HANDLE pipe) {
    PSID owner = nullptr;
    optimizer::LocalMemory descriptor;
    const DWORD error = GetSecurityInfo(pipe, SE_KERNEL_OBJECT, OWNER_SECURITY_INFORMATION, &owner, nullptr,
                                        nullptr, nullptr, descriptor.Receive());
    return error == ERROR_SUCCESS ? optimizer::SidText(owner) : std::wstring();
}

bool MayServe(const std::wstring& owner) {
    return !owner.empty() && (optimizer::IsAdministrative(owner) || owner == optimizer::OwnAccount());
}

std::optional<PipeHolder> FindPipeHolder(const std::wstring& path) {
    optimizer::FileHandle pipe = OpenToLook(path);
    if (!pipe && GetLastError() == ERROR_PIPE_BUSY && WaitNamedPipeW(path.c_str(), kBusyPatienceMs))
        pipe = OpenToLook(path);
    if (!pipe) return GetLastError() == ERROR_FILE_NOT_FOUND ? std::nullopt : std::optional(PipeHolder());
    PipeHolder holder;
    holder.owner = PipeOwner(pipe.Get());
    if (!GetNamedPipeServerProcessId(pipe.Get(), &holder.process)) holder.process = 0;
    return holder;
}

std::wstring HolderText(const PipeHolder& holder) {
    std::wstring text = L"a process that can't be told";
    if (holder.process != 0) {
        const std::wstring program = ProgramOf(holder.process);
        text =
            L"process " + std::to_wstring(holder.process) + (program.empty() ? L"" : L" (" + program + L")");
    }
    return holder.owner.empty() ? text : text + L" of " + optimizer::AccountName(holder.owner);
}

}  // namespace host
