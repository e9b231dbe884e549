#pragma once

#include <cstdint>
#include <string>

namespace host {

/// Who is signed in. The texts are UTF-8.
struct Registration {
    std::string email;
    std::string token;
    int32_t partnerId = 0;
    bool authenticated = false;

    bool operator==(const Registration& other) const = default;
};

enum class RegistrationFileState {
    Ok,
    Absent,
    Unreadable,    // there, but somebody keeps it to himself; worth another try
    NotProtected,  // others than administrators and SYSTEM could read or change it
    Broken,
};

/// Reads the registration from a JSON file:
///
///   { "email": "ann@example.com", "token": "...", "authenticated": true, "partnerId": 7 }
///
/// What the file doesn't tell stays empty, and so does everything unless the state is Ok. `problem` says what
/// is wrong in one sentence, and never what is in the file. Throws std::bad_alloc.
RegistrationFileState ReadRegistration(const std::wstring& path, Registration& out, std::wstring& problem);

}  // namespace host
