// A plug-in of any name that does what the test program says.
#pragma once

#include "border/plugin.h"

/// Exported by the test program under this name. Called at each step of each plug-in's life: "create",
/// "Init", "Start", "Stop", "UnInit" and "destroy". The result is the step's. `main` is null before Init.
using OnPluginStepFunction = uint32_t(const wchar_t* plugin, const wchar_t* step, IServMain* main);
inline constexpr const char* kOnPluginStep = "OnPluginStep";
