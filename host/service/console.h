#pragma once

#include "host/service/engine_host.h"

namespace host {

/// Runs the engine until the input ends or the console is interrupted or closed; says "ready" first. The host
/// has ended at the return.
void RunConsole(EngineHost& host);

}  // namespace host
