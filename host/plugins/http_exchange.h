#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "plugins/server_address.h"

namespace host {

struct HttpQuestion {
    std::string path;  // below the server's
    std::string body;
    uint32_t timeoutMs = 0;  // for the whole exchange
};

struct HttpAnswer {
    uint32_t status = 0;             // 200 and the like
    std::vector<std::string> parts;  // as they came; of a successful answer only
};

inline bool IsSuccess(uint32_t httpStatus) {
    return httpStatus >= 200 && httpStatus < 300;
}

/// Posts the body and fetches the answer, over TLS with the system's certificate checks. Neither follows a
/// redirection nor signs in anywhere: what is sent is for that one server. 0 or an error of the system;
/// blocks for the time-out at most, whatever the server does. Throws std::bad_alloc. Keeps this library in
/// the process from then on, since the system may call back into it later.
[[nodiscard]] uint32_t PerformExchange(const ServerAddress& server, const HttpQuestion& question,
                                       HttpAnswer& answer);

}  // namespace host
