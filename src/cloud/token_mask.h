#pragma once

#include <string>

namespace optimizer {

/// `text` as it may be logged: without the user's token that the request `body` carries, wherever in the text
/// it stands. With the token in hand anybody could speak for the user, and logs are passed around.
std::string WithoutToken(std::string text, const std::string& body);

}  // namespace optimizer
