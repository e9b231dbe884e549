#pragma once

#include <string>

namespace host {

/// Writes one line to standard output or standard error: as text to a console, as UTF-8 to a file or pipe.
/// Any thread; a line is never torn. False when nobody takes it any more.
bool PrintLine(const std::wstring& line);
bool PrintErrorLine(const std::wstring& line);

/// Shows a text at the start of standard error's last line in place of the one shown before; an empty text
/// takes it away. Does nothing when standard error isn't a console.
void ShowProgress(const std::wstring& text);

/// Reads one UTF-8 line from standard input, without its line break. False at the end of the input.
bool ReadInputLine(std::wstring& line);

/// Reads standard input to its end, byte for byte.
std::string ReadInput();

}  // namespace host
