// How busy the machine's parts are, as the host tells it.
#pragma once

#include "border/plugin.h"

/// Plug-in "LoadUsage". Any thread may call.
struct ILoadUsage : IServPlugin {
    static constexpr Identifier kIdentifier = {
        0xfb942f49, 0x625c, 0x9122, {0x15, 0x44, 0xb3, 0x29, 0x58, 0x9c, 0x03, 0x55}};

    static constexpr int32_t kDiskFigures = 3;

    virtual void Reserved5() = 0;  // 5
    /// For kDiskFigures, `*figures` points to the caller's boottime::DiskSpeed, which is filled; `*flags` is
    /// 0. Callers don't look at the result.
    virtual uint32_t GetFigures(int32_t kind, void** figures, uint32_t* flags) = 0;  // 6
};
