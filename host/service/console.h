#pragma once

#include "host/service/engine_host.h"

namespace host {

/// Runs the commands that come on standard input, one a line, until "quit", the end of the input or an
/// interrupt. Events of the engine are printed as they come. The host has ended at the return. The result is
/// the process's exit code: 0, or 1 when a command failed.
int RunConsole(EngineHost& host);

}  // namespace host
