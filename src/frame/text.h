#pragma once

#include <string>

namespace optimizer {

/// UTF-8 both ways. Broken sequences become U+FFFD.
std::wstring Widen(const std::string& narrow);
std::string Narrow(const std::wstring& wide);

/// Character by character, as the locale's facet has it.
std::wstring ToLower(std::wstring text);

/// The system's text for an error code, without the final full stop and line break.
std::wstring SystemErrorText(unsigned long error);

}  // namespace optimizer
