#pragma once

#include "frame/handles.h"

namespace optimizer {

/// Opens the event that an uninstall signals, making it when it isn't there. Open to every account, since
/// uninstaller and service run under different ones. Automatic reset. Null on failure.
KernelHandle OpenUninstallEvent();

}  // namespace optimizer
