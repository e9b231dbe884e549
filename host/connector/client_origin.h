// Who a client of a pipe is, and whether there is a place for it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <windows.h>

namespace host {

/// Clients at once; what one account takes leaves something for the others, whoever comes first.
inline constexpr size_t kMostClients = 200;
/// Of one account, and of one session.
inline constexpr size_t kMostOfOne = 80;
/// The last places, which only administrators get: with all others taken they can still look who has them.
inline constexpr size_t kKeptForAdministrators = 20;
/// The places before those, which only the first client of an account in its session gets: each session's
/// agent finds one.
inline constexpr size_t kKeptForFirst = 20;

struct ClientOrigin {
    std::wstring account;  // as trust/accounts.h writes it; empty for one that doesn't show itself
    uint32_t session = 0;
    bool isAdministrator = false;

    bool IsSame(const ClientOrigin& other) const {
        return account == other.account && session == other.session;
    }
};

/// The client of a server's end, by the token that it connected with and not by its process, whose number it
/// could choose. `session` is what is known of that. All clients that don't let the server see who they are
/// count as one account.
ClientOrigin OriginOf(HANDLE pipe, uint32_t session);

/// Whether one more may come in.
bool HasPlace(const ClientOrigin& comer, const std::vector<ClientOrigin>& present);

}  // namespace host
