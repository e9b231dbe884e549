#include "log/log_line.h"

#include <cwchar>

#include "frame/text.h"

namespace host {

namespace {

struct LevelWord {
    int32_t highest;
    const wchar_t* word;
};
constexpr LevelWord kLevelWords[] = {{4, L"error"}, {8, L"warning"}, {16, L"info"}, {INT32_MAX, L"scope"}};

const wchar_t* WordOf(int32_t level) {
    const LevelWord* entry = kLevelWords;
    while (level > entry->highest)
        ++entry;
    return entry->word;
}

/// What ends a line for some reader, or drives a terminal: control characters, next line, line and paragraph
/// separator.
bool NeedsEscape(wchar_t c) {
    return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x2028 || c == 0x2029;
}

}  // namespace

std::wstring FormatText(const wchar_t* format, va_list arguments) {
    wchar_t buffer[kLongestText + 1] = {};
    const int length = _vsnwprintf(buffer, kLongestText, format, arguments);
    if (length >= 0) return {buffer, static_cast<size_t>(length)};
    // Cut, or not to be formatted beyond what the buffer holds; the NUL behind its end is ours.
    return std::wstring(buffer) + L"...";
}

void AppendEscaped(std::wstring& out, const std::wstring& text) {
    for (const wchar_t c : text) {
        if (!NeedsEscape(c)) {
            out += c;
        } else if (c == L'\n') {
            out += L"\\n";
        } else if (c == L'\r') {
            out += L"\\r";
        } else if (c == L'\t') {
            out += L"\\t";
        } else {
            wchar_t escape[8];
            _snwprintf(escape, std::size(escape), c < 0x100 ? L"\\x%02x" : L"\\u%04x", c);
            out += escape;
        }
    }
}

std::string FormatLine(const LogLine& line) {
    wchar_t head[80];
    const SYSTEMTIME& t = line.time;
    _snwprintf(head, std::size(head), L"%04u-%02u-%02u %02u:%02u:%02u.%03u [%u:%u] %-7s ", t.wYear, t.wMonth,
               t.wDay, t.wHour, t.wMinute, t.wSecond, t.wMilliseconds, line.processId, line.threadId,
               WordOf(line.level));
    std::wstring whole = head;
    whole.append(size_t{line.indent} * 2, L' ');
    AppendEscaped(whole, line.function);
    whole += L": ";
    AppendEscaped(whole, line.text);
    whole += L"\r\n";
    return optimizer::Narrow(whole);
}

}  // namespace host
