// A log library that keeps its lines and calls in memory for the test to read.
#include <cstdio>
#include <deque>
#include <mutex>
#include <string>

#include "border/log_library.h"

namespace {

/// A deque, so that texts handed out stay where they are.
struct Record {
    std::mutex lock;
    std::deque<std::wstring> lines;  // guarded by lock
    std::deque<std::wstring> calls;  // guarded by lock
};

/// Never destroyed: modules let go of the log as late as their own unloading.
Record& TheRecord() {
    static Record& record = *new Record;
    return record;
}

void Note(const wchar_t* call) {
    const std::lock_guard guard(TheRecord().lock);
    TheRecord().calls.emplace_back(call);
}

}  // namespace

extern "C" {

__declspec(dllexport) void LogInit() {
    Note(L"LogInit");
}
__declspec(dllexport) void LogDeinit() {
    Note(L"LogDeinit");
}
__declspec(dllexport) void LogUninitDeskMetrics() {
    Note(L"LogUninitDeskMetrics");
}

__declspec(dllexport) int32_t
    LogWrite(int32_t nesting, const int32_t* level, const char* function, const wchar_t* wideFunction,
             const wchar_t* format, va_list arguments) {
    wchar_t text[2048] = {};
    _vsnwprintf(text, 2047, format, arguments);
    wchar_t call[4096] = {};
    _snwprintf(call, 4095, L"%d %d %S %s: %s", nesting, *level, function, wideFunction, text);
    Note(call);
    if (nesting != 0) return 0;
    const std::lock_guard guard(TheRecord().lock);
    TheRecord().lines.emplace_back(text);
    return 0;
}

__declspec(dllexport) void SimulatedClear() {
    const std::lock_guard guard(TheRecord().lock);
    TheRecord().lines.clear();
    TheRecord().calls.clear();
}

__declspec(dllexport) const wchar_t* SimulatedLine(uint32_t index) {
    const std::lock_guard guard(TheRecord().lock);
    return index < TheRecord().lines.size() ? TheRecord().lines[index].c_str() : nullptr;
}

/// Everything that was called: the function's name, or a write's nesting, level, two names and text.
__declspec(dllexport) const wchar_t* SimulatedCall(uint32_t index) {
    const std::lock_guard guard(TheRecord().lock);
    return index < TheRecord().calls.size() ? TheRecord().calls[index].c_str() : nullptr;
}

}  // extern "C"
