#pragma once

#include <string>

namespace host {

/// Who keeps this host from its pipes, in one sentence that says what to do; empty when nobody does. Asked
/// before the host serves them.
std::wstring HeldPipesSentence();

}  // namespace host
