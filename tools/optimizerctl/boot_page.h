#pragma once

#include <windows.h>

#include "tools/optimizerctl/boot_figures.h"

namespace ctl {

/// A page of its own about a boot: HTML without scripts and without anything from outside, for light and dark
/// screens, wide and narrow ones, and paper. `time` is the local time of its making.
std::wstring BootPage(const BootFigures& figures, const std::wstring& machine, const SYSTEMTIME& time);

/// The page's style sheet.
extern const wchar_t* const kBootPageStyle;

}  // namespace ctl
