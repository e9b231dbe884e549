#include "host/terminal/terminal.h"

#include <windows.h>

#include "frame/slim_lock.h"
#include "frame/text.h"

namespace host {

namespace {

optimizer::CSlimLock g_writeLock;
size_t g_shownProgress GUARDED_BY(g_writeLock) = 0;

bool WriteLine(DWORD which, const std::wstring& line) {
    const HANDLE output = GetStdHandle(which);
    DWORD mode = 0;
    DWORD written = 0;
    const optimizer::LockGuard guard(g_writeLock);
    if (GetConsoleMode(output, &mode)) {
        const std::wstring text = line + L"\r\n";
        return WriteConsoleW(output, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) != 0;
    }
    const std::string text = optimizer::Narrow(line) + "\n";
    return WriteFile(output, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) != 0;
}

}  // namespace

bool PrintLine(const std::wstring& line) {
    return WriteLine(STD_OUTPUT_HANDLE, line);
}

bool PrintErrorLine(const std::wstring& line) {
    return WriteLine(STD_ERROR_HANDLE, line);
}

void ShowProgress(const std::wstring& text) {
    const HANDLE output = GetStdHandle(STD_ERROR_HANDLE);
    DWORD mode = 0;
    DWORD written = 0;
    const optimizer::LockGuard guard(g_writeLock);
    if (!GetConsoleMode(output, &mode)) return;
    const std::wstring blank(g_shownProgress, L' ');
    const std::wstring line = L"\r" + blank + L"\r" + text;
    WriteConsoleW(output, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
    g_shownProgress = text.size();
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

std::string ReadInput() {
    const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    std::string text;
    char buffer[4096];
    DWORD read = 0;
    while (ReadFile(input, buffer, sizeof(buffer), &read, nullptr) && read > 0)
        text.append(buffer, read);
    return text;
}

}  // namespace host
