#include <algorithm>
#include <cstring>
#include <cwctype>
#include <string>

#include <windows.h>

#include "actions/visual_effects.h"
#include "frame/text.h"
#include "frame/trace.h"
#include "shim/memory_pipe.h"

namespace {

thread_local DWORD t_lastError = 0;

}  // namespace

DWORD GetLastError() {
    return t_lastError;
}

void SetLastError(DWORD error) {
    t_lastError = error;
}

int CompareStringOrdinal(const wchar_t* left, int leftLength, const wchar_t* right, int rightLength, BOOL) {
    const auto same = [](wchar_t a, wchar_t b) { return std::towupper(a) == std::towupper(b); };
    return std::equal(left, left + leftLength, right, right + rightLength, same) ? CSTR_EQUAL : 1;
}

HANDLE CreateEventW(void*, BOOL, BOOL, const wchar_t*) {
    static int s_event;
    return &s_event;
}

DWORD WaitForMultipleObjects(DWORD, const HANDLE*, BOOL, DWORD) {
    std::abort();  // nothing is ever under way
}

BOOL ReadFile(HANDLE handle, void* to, DWORD roomBytes, DWORD*, OVERLAPPED*) {
    auto& pipe = *static_cast<fuzz::MemoryPipe*>(handle);
    if (pipe.messages.empty()) return SetLastError(ERROR_BROKEN_PIPE), FALSE;
    std::vector<uint8_t>& message = pipe.messages.front();
    pipe.lastBytes = static_cast<uint32_t>(std::min<size_t>(roomBytes, message.size()));
    std::copy_n(message.begin(), pipe.lastBytes, static_cast<uint8_t*>(to));
    message.erase(message.begin(), message.begin() + pipe.lastBytes);
    pipe.isCut = !message.empty();
    if (!pipe.isCut) return pipe.messages.pop_front(), TRUE;
    return SetLastError(ERROR_MORE_DATA), FALSE;
}

BOOL GetOverlappedResult(HANDLE handle, OVERLAPPED*, DWORD* read, BOOL) {
    const auto& pipe = *static_cast<fuzz::MemoryPipe*>(handle);
    *read = pipe.lastBytes;
    if (pipe.isCut) SetLastError(ERROR_MORE_DATA);
    return !pipe.isCut;
}

BOOL PeekNamedPipe(HANDLE handle, void*, DWORD, DWORD*, DWORD*, DWORD* leftBytes) {
    const auto& pipe = *static_cast<fuzz::MemoryPipe*>(handle);
    *leftBytes = pipe.isCut ? static_cast<DWORD>(pipe.messages.front().size()) : 0;
    return TRUE;
}

namespace optimizer {

/// UTF-8 as the system reads it: what is no character becomes the sign for that.
std::wstring Widen(const std::string& narrow) {
    std::wstring wide;
    for (size_t at = 0; at < narrow.size();) {
        const auto first = static_cast<uint8_t>(narrow[at++]);
        const int rest = first < 0x80 ? 0 : first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : first >= 0xC0 ? 1 : -1;
        uint32_t character = rest <= 0 ? first : first & (0x3FU >> rest);
        int left = rest;
        for (; left > 0 && at < narrow.size() && (narrow[at] & 0xC0) == 0x80; --left)
            character = character << 6 | (static_cast<uint8_t>(narrow[at++]) & 0x3FU);
        wide += static_cast<wchar_t>(left == 0 && character < 0x110000 ? character : 0xFFFDU);
    }
    return wide;
}

std::string Narrow(const std::wstring& wide) {
    std::string narrow;
    for (const wchar_t each : wide) {
        const auto character = static_cast<uint32_t>(each);
        const int rest = character < 0x80 ? 0 : character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
        constexpr uint8_t kFirst[] = {0, 0xC0, 0xE0, 0xF0};
        narrow += static_cast<char>(kFirst[rest] | character >> (6 * rest));
        for (int left = rest; left-- > 0;)
            narrow += static_cast<char>(0x80 | (character >> (6 * left) & 0x3F));
    }
    return narrow;
}

/// The effects' names count here, not what the system calls them.
const VisualEffect* FindVisualEffect(const std::string& key) {
    static constexpr VisualEffect kEffects[] = {{"minimize_animations", 0, 0},
                                                {"animations_inside_windows", 0, 0}};
    const auto* const found = std::find_if(std::begin(kEffects), std::end(kEffects),
                                           [&](const VisualEffect& each) { return key == each.key; });
    return found != std::end(kEffects) ? found : nullptr;
}

}  // namespace optimizer

/// Nobody listens, so that no line is written.
namespace optimizer::trace {

namespace internal {
std::atomic<int32_t> g_staticReferences = 0;
std::atomic<int32_t> g_dynamicReferences = 0;
}  // namespace internal

LogScope::LogScope(const char* name, const wchar_t*) : m_startMs(0), m_name(name) {
    m_shown[0] = m_wideName[0] = 0;
}
LogScope::~LogScope() = default;
LogBinding* LogHolder::Get() {
    return nullptr;
}
void LogHolder::Release() {}
void TraceWrite(const LogBinding*, short, const int32_t*, const char*, const wchar_t*, const wchar_t*, ...) {}

}  // namespace optimizer::trace
