#pragma once

#include <optional>
#include <string>

#include "frame/handles.h"

#include <powrprof.h>

namespace optimizer {

// GUID_SLEEP_SUBGROUP
inline constexpr GUID kSleepSubgroup = {
    0x238C9FA8, 0x0AAD, 0x41ED, {0x83, 0xF4, 0x97, 0xBE, 0x24, 0x2C, 0x8F, 0x20}};

/// The functions of PowrProf.dll that older systems lack, bound by name.
struct PowerFunctions {
    /// Called once. False when the library or one of the functions is missing; a library that was found
    /// stays held then.
    bool Bind();
    /// The plan that is active now; nothing when the system doesn't tell. Once bound.
    std::optional<GUID> ActiveScheme() const;

    bool bound = false;
    Library library;
    decltype(&PowerGetActiveScheme) getActiveScheme = nullptr;
    decltype(&PowerSetActiveScheme) setActiveScheme = nullptr;
    decltype(&PowerReadDCValueIndex) readDC = nullptr;
    decltype(&PowerWriteDCValueIndex) writeDC = nullptr;
    decltype(&PowerReadACValueIndex) readAC = nullptr;
    decltype(&PowerWriteACValueIndex) writeAC = nullptr;
};

/// The GUID of a power plan as notes hold it, and back. False for a text that is none.
std::string SchemeText(const GUID& scheme);
bool SchemeFromText(const std::string& text, GUID& scheme);

}  // namespace optimizer
