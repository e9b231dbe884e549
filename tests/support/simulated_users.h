#pragma once

#include <cstdint>

#include <windows.h>

#include "frame/handles.h"
#include "tests/support/simulated_users_state.h"

namespace test_support {

/// Sets the interactive user of the simulated user library, which must be beside the test program and bound.
/// An empty name means that nobody is logged on; `result` is what all its functions answer.
inline void SetSimulatedUser(const wchar_t* domain, const wchar_t* name, uint32_t result = 1,
                             const wchar_t* appData = L"C:\\AppData") {
    using Setter = void(const wchar_t*, const wchar_t*, const wchar_t*, uint32_t);
    const HMODULE library = LoadLibraryW(L"vxusers.dll");  // kept: the setting must outlive a rebinding
    optimizer::GetExport<Setter>(library, "SimulatedUser")(domain, name, appData, result);
}

inline SimulatedUsersState& SimulatedUsers() {
    const HMODULE library = LoadLibraryW(L"vxusers.dll");
    return *optimizer::GetExport<SimulatedUsersState*()>(library, "SimulatedState")();
}

}  // namespace test_support
