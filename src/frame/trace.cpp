#include "frame/trace.h"

#include <cwchar>

#include <mmsystem.h>

namespace optimizer::trace {

void TraceWrite(const LogBinding* binding, short nesting, const int32_t* level, const char* function,
                const wchar_t* wideFunction, const wchar_t* format, ...) {
    if (binding == nullptr) return;
    va_list arguments;
    va_start(arguments, format);
    binding->Write()(nesting, level, function, wideFunction, format, arguments);
    va_end(arguments);
}

LogScope::LogScope(const char* name, const wchar_t* wideName) : m_startMs(timeGetTime()), m_name(name) {
    wcsncpy_s(m_shown, 258, wideName, _TRUNCATE);
    wcscat_s(m_shown, L"()");
    wcsncpy_s(m_wideName, 260, wideName, _TRUNCATE);
    _Enter();
}

LogScope::LogScope(const char* name, const wchar_t* wideName, const wchar_t* message)
    : m_startMs(timeGetTime()), m_name(name) {
    wcscpy_s(m_shown, L"[");
    wcsncpy_s(m_shown + 1, 258, message, _TRUNCATE);
    wcscat_s(m_shown, L"]");
    wcsncpy_s(m_wideName, 260, wideName, _TRUNCATE);
    _Enter();
}

void LogScope::_Enter() const {
    if (!IsLive()) return;
    LogHolder holder;
    TraceWrite(holder.Get(), 1, &kScope, m_name, m_wideName, L"-> %s", m_shown);
}

LogScope::~LogScope() {
    if (!IsLive()) return;
    const uint32_t elapsedMs = timeGetTime() - m_startMs;
    LogHolder holder;
    TraceWrite(holder.Get(), -1, &kScope, m_name, m_wideName, L"<- %s [%d]", m_shown, elapsedMs);
}

}  // namespace optimizer::trace
