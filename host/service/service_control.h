#pragma once

#include <string>
#include <vector>

namespace host {

inline constexpr const wchar_t* kServiceName = L"OptimizerHost";

/// Registers this program as a service that starts with the system. Refused while others than administrators
/// and this account could change what lies in its folder, since the service would do what they like, unless
/// `forTrial`. Gives the settings folder an access list of its own, but for a trial. False with a sentence in
/// `told`; with true, `told` receives what the system didn't take and the service does without.
bool InstallService(bool forTrial, std::vector<std::wstring>& told);

/// Puts the machine back and removes the service: tells a running one of the uninstall and stops it, then
/// runs the engine once here, for what a stopped or killed service left behind, and looks what is still
/// noted. The service stays registered when the engine can't run or something isn't back, so that nothing is
/// lost; `force` removes it all the same, but never a running one. Each step may be repeated after a kill.
/// Blocks for as long as that takes, a minute at most for the stop. False when the service wasn't removed;
/// `told` receives the sentences that say why, or where the notes of what isn't back lie.
bool UninstallService(const std::wstring& pluginList, bool force, std::vector<std::wstring>& told);

/// Runs as the service that the system has started. Returns when the service has stopped; false when the
/// system didn't start it.
bool RunService(const std::wstring& pluginList, std::wstring& problem);

}  // namespace host
