#pragma once

#include <string>

#include <windows.h>

#include "frame/text.h"

namespace host {

/// What the service manager refused, in one sentence.
inline std::wstring Refused(const std::wstring& what, DWORD error) {
    std::wstring sentence = what + L": " + optimizer::SystemErrorText(error) + L".";
    if (error == ERROR_ACCESS_DENIED) sentence += L" Run this as an administrator.";
    return sentence;
}

}  // namespace host
