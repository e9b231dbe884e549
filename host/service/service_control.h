#pragma once

#include <string>

namespace host {

inline constexpr const wchar_t* kServiceName = L"OptimizerHost";

/// Registers this program as a service that starts with the system. False with a sentence in `problem`.
bool InstallService(std::wstring& problem);

/// Puts the machine back and removes the service: tells a running one of the uninstall and stops it, then
/// runs the engine once here, for what a stopped or killed service left behind. The service stays registered
/// when the engine can't run, so that nothing is lost. Blocks for as long as that takes, a minute at most for
/// the stop.
bool UninstallService(const std::wstring& pluginList, std::wstring& problem);

/// Runs as the service that the system has started. Returns when the service has stopped; false when the
/// system didn't start it.
bool RunService(const std::wstring& pluginList, std::wstring& problem);

}  // namespace host
