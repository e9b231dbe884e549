// An uninstall, told to the engine itself.
#pragma once

#include "border/identifier.h"

/// Answered for by "optimizeral" beside the engine's own interface; an engine of before doesn't. Any thread.
struct IUninstall {
    static constexpr Identifier kIdentifier = {
        0x5d0c8e11, 0x2b7f, 0x4a63, {0xb4, 0x0e, 0x9c, 0x73, 0xd1, 0x58, 0x26, 0xaf}};

    /// From now on the engine's end puts the whole machine back, as after VxNotifyUninstall. That goes by an
    /// event whose name everybody may use, so that anybody can take its signal; this can't be taken.
    virtual void ExpectUninstall() = 0;  // 0
};
