#pragma once

namespace ctl {

/// How the program ends. Scripts rely on the numbers; docs/cli.md tells them.
enum class ExitCode : int {
    Done = 0,
    Refused = 1,  // the engine said no, or doctor found something to mend
    Usage = 2,    // the command line or a text given with it is wrong; nothing was sent
    NoService = 3,
    TimedOut = 4,
};

}  // namespace ctl
