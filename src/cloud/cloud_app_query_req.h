#pragma once

#include <cstdint>
#include <string>

#include "border/optimizer_process_provider.h"

namespace optimizer {

/// Keys of the request's document that others look for.
inline constexpr const char* kKeyParams = "params";
inline constexpr const char* kKeySource = "velora_source";
inline constexpr const char* kKeyToken = "user_token";

/// Who the user is for the cloud service.
struct AuthenticationData {
    std::string email;
    std::string token;
    bool authenticated = false;
    int32_t partnerId = 0;
};

/// The document that tells the cloud service of applications in a profile.
class CloudAppQueryReq {
public:
    /// Writes the document, in UTF-8, with one object for each entry of `list`; an empty list gives an empty
    /// array. One thread at a time.
    static void Serialize(profiles::profile which, OptimizerProcessList* list, const AuthenticationData& user,
                          std::string& body);
};

}  // namespace optimizer
