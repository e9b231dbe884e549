// The library that the tests of ExportedObject load.
#pragma once

#include "border/plugin.h"

struct IThing : IVxBaseInterface {
    static constexpr Identifier kIdentifier = {0x7461c8e2, 0x1d2b, 0x4c0f, {1, 2, 3, 4, 5, 6, 7, 8}};

    virtual uint32_t Answer() = 0;  // 1
};

/// Environment variable in which the library notes the name of each object that it ends, each with a blank.
inline constexpr const wchar_t* kEndedObjects = L"test_component_ended";
