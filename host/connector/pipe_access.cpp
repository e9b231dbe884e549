#include "connector/pipe_access.h"

#include <cstddef>

#include <sddl.h>

#include "trust/accounts.h"

namespace host {

using optimizer::LocalMemory;

namespace {

/// Clients look at the owner before they talk. An elevated administrator's objects belong to the group or to
/// the account itself as the machine's policy has it: here always to the group, which every client knows.
std::wstring OwnerOfPipes(const std::wstring& self) {
    alignas(SID) std::byte administrators[SECURITY_MAX_SID_SIZE];
    DWORD sizeBytes = sizeof(administrators);
    BOOL isMember = FALSE;
    const bool isAdministrator =
        CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, administrators, &sizeBytes) &&
        CheckTokenMembership(nullptr, administrators, &isMember) && isMember;
    return isAdministrator ? L"BA" : self;
}

}  // namespace

std::wstring PipePath(const wchar_t* pipeName) {
    if (pipeName == nullptr || *pipeName == L'\0') return {};
    return std::wstring(L"\\\\.\\pipe\\") + pipeName;
}

LocalMemory MakePipeSecurity() {
    const std::wstring self = optimizer::OwnAccount();
    if (self.empty()) return {};
    // 0x12019b: FILE_GENERIC_READ and FILE_GENERIC_WRITE without FILE_CREATE_PIPE_INSTANCE, by which a user's
    // process could serve the clients in the service's place.
    const std::wstring list =
        L"O:" + OwnerOfPipes(self) + L"D:P(A;;GA;;;SY)(A;;GA;;;BA)(A;;GA;;;" + self + L")(A;;0x12019b;;;IU)";
    LocalMemory descriptor;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(list.c_str(), SDDL_REVISION_1,
                                                              descriptor.Receive(), nullptr)) {
        return {};
    }
    return descriptor;
}

}  // namespace host
