#pragma once

#include <string>

struct IComponentManager;
struct IProductInfo;

namespace optimizer {

/// The product's data folder as its configuration tells it; empty when it tells none or is null.
std::wstring DataFolder(IProductInfo* product);

/// The settings folder, with the last back-slash, for the product's data folder as its configuration tells
/// it: a folder "optimizer" in there, relative to this code's own folder; beside the module when none is
/// told.
std::wstring SettingsFolder(const std::wstring& dataFolder);

/// Where results lie when no data folder is told: below the folder of the process's own program.
std::wstring HostSettingsFolder();

/// The settings folder for a plug-in, which asks "productinfo" for the data folder; without one it counts
/// as not told.
std::wstring SettingsFolder(IComponentManager* components);

}  // namespace optimizer
