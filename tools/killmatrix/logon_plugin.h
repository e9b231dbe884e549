#pragma once

namespace killmatrix {

/// Set for each logon; made by the host that loaded the plug-in.
inline constexpr const wchar_t* kLogonEvent = L"killmatrix_logon";

}  // namespace killmatrix
