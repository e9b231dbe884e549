#include "frame/text.h"

#include <locale>

#include <windows.h>

#include "frame/handles.h"

namespace optimizer {

std::wstring Widen(const std::string& narrow) {
    const int length = static_cast<int>(narrow.size());
    const int needed = MultiByteToWideChar(CP_UTF8, 0, narrow.data(), length, nullptr, 0);
    std::wstring wide(static_cast<size_t>(needed), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, narrow.data(), length, wide.data(), needed);
    return wide;
}

std::string Narrow(const std::wstring& wide) {
    const int length = static_cast<int>(wide.size());
    const int needed = WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<size_t>(needed), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, narrow.data(), needed, nullptr, nullptr);
    return narrow;
}

std::wstring ToLower(std::wstring text) {
    std::use_facet<std::ctype<wchar_t>>(std::locale()).tolower(text.data(), text.data() + text.size());
    return text;
}

std::wstring SystemErrorText(unsigned long error) {
    LocalMemory memory;
    constexpr DWORD kFlags =
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    const DWORD length =
        FormatMessageW(kFlags, nullptr, error, 0, reinterpret_cast<wchar_t*>(memory.Receive()), 0, nullptr);
    if (length == 0) return L"error " + std::to_wstring(error);
    std::wstring text(static_cast<const wchar_t*>(memory.Get()), length);
    text.erase(text.find_last_not_of(L" .\r\n") + 1);
    return text + L" (" + std::to_wstring(error) + L")";
}

}  // namespace optimizer
