#include "connector/pipe_access.h"

#include <cstddef>

#include <sddl.h>

namespace host {

using optimizer::KernelHandle;
using optimizer::LocalMemory;

namespace {

std::wstring OwnSid() {
    KernelHandle token;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.Receive())) return {};
    alignas(TOKEN_USER) std::byte user[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    DWORD sizeBytes = 0;
    if (!GetTokenInformation(token.Get(), TokenUser, user, sizeof(user), &sizeBytes)) return {};
    wchar_t* text = nullptr;
    if (!ConvertSidToStringSidW(reinterpret_cast<const TOKEN_USER*>(user)->User.Sid, &text)) return {};
    const LocalMemory owner(text);
    return text;
}

}  // namespace

std::wstring PipePath(const wchar_t* pipeName) {
    if (pipeName == nullptr || *pipeName == L'\0') return {};
    return std::wstring(L"\\\\.\\pipe\\") + pipeName;
}

LocalMemory MakePipeSecurity() {
    const std::wstring self = OwnSid();
    if (self.empty()) return {};
    // 0x12019b: FILE_GENERIC_READ and FILE_GENERIC_WRITE without FILE_CREATE_PIPE_INSTANCE, by which a user's
    // process could serve the clients in the service's place.
    const std::wstring list = L"D:P(A;;GA;;;SY)(A;;GA;;;BA)(A;;GA;;;" + self + L")(A;;0x12019b;;;IU)";
    LocalMemory descriptor;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(list.c_str(), SDDL_REVISION_1,
                                                              descriptor.Receive(), nullptr)) {
        return {};
    }
    return descriptor;
}

}  // namespace host
