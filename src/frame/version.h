#pragma once

#include <cstdint>

namespace optimizer {

inline constexpr uint16_t kVistaMinor = 0;
inline constexpr uint16_t kWindows8Minor = 2;

/// Whether the system is at least Windows 6.`minor`.
bool IsWindows6OrLater(uint16_t minor);

}  // namespace optimizer
