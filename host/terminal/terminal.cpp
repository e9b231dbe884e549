#include "host/terminal/terminal.h"

#include <windows.h>

#include "frame/critical_section.h"
#include "frame/text.h"

namespace host {

namespace {

void WriteLine(DWORD which, const std::wstring& line) {
    static optimizer::CCriticalSection s_lock;
    const HANDLE output = GetStdHandle(which);
    DWORD mode = 0;
    DWORD written = 0;
    const optimizer::CriticalSectionGuard guard(s_lock);
    if (GetConsoleMode(output, &mode)) {
        const std::wstring text = line + L"\r\n";
        WriteConsoleW(output, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    } else {
        const std::string text = optimizer::Narrow(line) + "\n";
        WriteFile(output, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    }
}

}  // namespace

void PrintLine(const std::wstring& line) {
    WriteLine(STD_OUTPUT_HANDLE, line);
}

void PrintErrorLine(const std::wstring& line) {
    WriteLine(STD_ERROR_HANDLE, line);
}

bool ReadInputLine(std::wstring& line) {
    const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    std::string text;
    char next = 0;
    DWORD read = 0;
    while (ReadFile(input, &next, 1, &read, nullptr) && read == 1) {
        if (next == '\n') {
            line = optimizer::Widen(text);
            return true;
        }
        if (next != '\r') text += next;
    }
    line = optimizer::Widen(text);
    return !text.empty();
}

}  // namespace host
