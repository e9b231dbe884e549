#pragma once

#include <string>

namespace host {

/// Writes one line to standard output or standard error: as text to a console, as UTF-8 to a file or pipe.
/// Any thread; a line is never torn.
void PrintLine(const std::wstring& line);
void PrintErrorLine(const std::wstring& line);

/// Reads one UTF-8 line from standard input, without its line break. False at the end of the input.
bool ReadInputLine(std::wstring& line);

}  // namespace host
