// The product's configuration, a host plug-in.
#pragma once

#include "border/plugin.h"

/// Plug-in "productinfo".
struct IProductInfo : IServPlugin {
    static constexpr Identifier kIdentifier = {
        0x5666c9d0, 0x9724, 0x666b, {0x66, 0x46, 0x08, 0x61, 0x3d, 0xc9, 0x66, 0xf6}};

    virtual void Reserved5() = 0;  // 5
    /// A text that belongs to the plug-in; null or empty when there is none. Kind 2 and key "common" name the
    /// product's data folder, kind 0 and key "BASE" the product.
    virtual const wchar_t* GetValue(int32_t kind, const wchar_t* key) = 0;  // 6
};

/// Identifier by which the same object is asked for when it comes from IServConfig.dll itself.
inline constexpr Identifier kConfigurationObjectIdentifier = {
    0x1623905a, 0x2177, 0x944e, {0xc7, 0x42, 0x7a, 0x10, 0xb1, 0xe0, 0xf0, 0xa0}};
