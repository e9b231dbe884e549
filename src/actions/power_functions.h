#pragma once

#include "frame/handles.h"

#include <powrprof.h>

namespace optimizer {

/// The functions of PowrProf.dll that older systems lack, bound by name.
struct PowerFunctions {
    /// Binds all of them or none. Called once.
    bool Bind();

    bool bound = false;
    Library library;
    decltype(&PowerGetActiveScheme) getActiveScheme = nullptr;
    decltype(&PowerSetActiveScheme) setActiveScheme = nullptr;
    decltype(&PowerReadDCValueIndex) readDC = nullptr;
    decltype(&PowerWriteDCValueIndex) writeDC = nullptr;
    decltype(&PowerReadACValueIndex) readAC = nullptr;
    decltype(&PowerWriteACValueIndex) writeAC = nullptr;
};

}  // namespace optimizer
