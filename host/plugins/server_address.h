#pragma once

#include <cstdint>
#include <string>

namespace host {

/// Where the cloud service is.
struct ServerAddress {
    std::wstring name;
    uint16_t port = 0;
    bool isSecure = false;
    bool isThisMachine = false;
    std::wstring path;  // with a slash at both ends
};

/// Takes an address like "https://cloud.example.com/base" apart. False for anything else, and for one that
/// isn't https, unless it is this machine's own: what goes to the server names the user.
bool ParseServerAddress(const std::wstring& text, ServerAddress& out);

}  // namespace host
