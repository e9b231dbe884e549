// A log library that keeps its lines in memory for the test to read.
#include <cstdio>
#include <deque>
#include <mutex>
#include <string>

#include "border/log_library.h"

namespace {

std::mutex g_lock;
std::deque<std::wstring> g_lines;  // guarded by g_lock; a deque, so that texts handed out stay where they are

}  // namespace

extern "C" {

__declspec(dllexport) int32_t LogWrite(int32_t nesting, const int32_t*, const char*, const wchar_t*,
                                       const wchar_t* format, va_list arguments) {
    if (nesting != 0) return 0;
    wchar_t text[2048] = {};
    _vsnwprintf(text, 2047, format, arguments);
    const std::lock_guard guard(g_lock);
    g_lines.emplace_back(text);
    return 0;
}

__declspec(dllexport) void SimulatedClear() {
    const std::lock_guard guard(g_lock);
    g_lines.clear();
}

__declspec(dllexport) const wchar_t* SimulatedLine(uint32_t index) {
    const std::lock_guard guard(g_lock);
    return index < g_lines.size() ? g_lines[index].c_str() : nullptr;
}

}  // extern "C"
