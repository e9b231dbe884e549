// Interface identifiers: what the two sides of a binary border select an interface by.
//
// Every header in this folder describes the binary border between the module, its host and its clients. They
// may be built with different compilers, so these headers hold fixed-width types and pure virtual operations
// only: no virtual destructors, no overloads, no default arguments, no classes returned by value, no library
// types and no exceptions. The number behind an operation is its slot in the virtual table, counted from 0;
// the lint run proves the numbers against both compilers' layouts. No header here needs windows.h.
#pragma once

#include <stdint.h>

/// 16 bytes laid out as a Windows GUID.
struct Identifier {
    uint32_t data1;
    uint16_t data2;
    uint16_t data3;
    uint8_t data4[8];
};

inline constexpr bool operator==(const Identifier& left, const Identifier& right) {
    if (left.data1 != right.data1 || left.data2 != right.data2 || left.data3 != right.data3) return false;
    for (int i = 0; i < 8; ++i) {
        if (left.data4[i] != right.data4[i]) return false;
    }
    return true;
}

inline constexpr bool operator!=(const Identifier& left, const Identifier& right) {
    return !(left == right);
}
