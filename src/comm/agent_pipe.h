#pragma once

namespace optimizer {

/// The pipe between the service and the agents in the users' sessions.
inline constexpr const wchar_t* kAgentPipeName = L"optimizeragentpipe";

}  // namespace optimizer
