#include "connector/client_origin.h"

#include <algorithm>
#include <cstddef>

#include "frame/fatal.h"
#include "frame/handles.h"
#include "trust/accounts.h"

namespace host {

namespace {

/// The client's own; null when it doesn't show itself.
optimizer::KernelHandle TokenOfClient(HANDLE pipe) {
    optimizer::KernelHandle token;
    if (!ImpersonateNamedPipeClient(pipe)) return token;
    OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.Receive());
    // A thread that went on in a client's name could do what that client chooses.
    if (!RevertToSelf()) optimizer::EndProcess();
    return token;
}

/// One with its rights in force: the everyday token of an administrator isn't one.
bool IsAdministrator(HANDLE token) {
    alignas(SID) std::byte administrators[SECURITY_MAX_SID_SIZE];
    DWORD sizeBytes = sizeof(administrators);
    BOOL isMember = FALSE;
    return CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, administrators, &sizeBytes) &&
           CheckTokenMembership(token, administrators, &isMember) && isMember;
}

}  // namespace

ClientOrigin OriginOf(HANDLE pipe, uint32_t session) {
    const optimizer::KernelHandle token = TokenOfClient(pipe);
    if (!token) return {L"", session, false};
    return {optimizer::AccountOf(token.Get()), session, IsAdministrator(token.Get())};
}

bool HasPlace(const ClientOrigin& comer, const std::vector<ClientOrigin>& present) {
    const auto count = [&](auto condition) {
        return static_cast<size_t>(std::count_if(present.begin(), present.end(), condition));
    };
    const size_t ofAccount = count([&](const ClientOrigin& o) { return o.account == comer.account; });
    if (comer.isAdministrator) return ofAccount < kMostOfOne && present.size() < kMostClients;
    constexpr size_t kForUsers = kMostClients - kKeptForAdministrators;
    if (count([&](const ClientOrigin& o) { return o.IsSame(comer); }) == 0) return present.size() < kForUsers;
    const size_t ofSession = count([&](const ClientOrigin& o) { return o.session == comer.session; });
    return ofAccount < kMostOfOne && ofSession < kMostOfOne && present.size() < kForUsers - kKeptForFirst;
}

}  // namespace host
