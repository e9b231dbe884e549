#pragma once

#include <cstdarg>
#include <cstdint>
#include <string>

#include <windows.h>

namespace host {

inline constexpr size_t kLongestText = 2000;  // characters of a formatted text

/// Formats in the Microsoft way (%s wide, %S narrow) and cuts what is too long.
std::wstring FormatText(const wchar_t* format, va_list arguments);

/// Appends a text with its control characters and line separators as escapes.
void AppendEscaped(std::wstring& out, const std::wstring& text);

struct LogLine {
    SYSTEMTIME time;
    uint32_t processId;
    uint32_t threadId;
    int32_t level;
    uint32_t indent;  // steps
    std::wstring function;
    std::wstring text;
};

/// The whole line in UTF-8 with its line break.
std::string FormatLine(const LogLine& line);

}  // namespace host
