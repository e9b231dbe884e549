// Windows error codes that the platform's headers don't name, or name elsewhere.
#pragma once

#include <cstdint>

namespace optimizer {

inline constexpr uint32_t kErrorNoInterface =
    632;  // ERROR_NOINTERFACE: a library or an object lacks an interface
inline constexpr uint32_t kErrorNotCapable = 775;  // ERROR_NOT_CAPABLE: the hardware can't

}  // namespace optimizer
