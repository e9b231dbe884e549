#pragma once

#include "host/service/engine_host.h"

namespace host {

/// Runs the engine until the input ends or the console is interrupted or closed; says "ready" first, and then
/// what the engine doesn't get done. The host has ended at the return. False when the last run left something
/// that is to be mended.
bool RunConsole(EngineHost& host);

}  // namespace host
