// Tracing through log.dll.
//
// A traced method opens with TRACE_SCOPE("Class::Method"), and writes its lines with TRACE_LINE(level,
// format, ...). Formats are wide and follow the Microsoft meaning: %s takes a wide text, %S a narrow one.
#pragma once

#include <cstdint>

#include "frame/log_binding.h"

namespace optimizer::trace {

inline constexpr int32_t kError = 4;         // a failed call that stops the operation
inline constexpr int32_t kWarning = 8;       // a failure that the operation survives
inline constexpr int32_t kInformation = 16;  // the values that methods report
inline constexpr int32_t kScope = 32;        // method entry and exit

/// Hands one line to the binding. `nesting` is 0 for a plain line, 1 for an entry line, -1 for a leave line.
void TraceWrite(const LogBinding* binding, short nesting, const int32_t* level, const char* function,
                const wchar_t* wideFunction, const wchar_t* format, ...);

/// Traces the entry and the exit of a method with the time it took. On the stack of every traced method.
class LogScope {
public:
    LogScope(const char* name, const wchar_t* wideName);
    /// A marked scope: brackets one step of a method, and shows `message` in place of the method's name.
    LogScope(const char* name, const wchar_t* wideName, const wchar_t* message);
    ~LogScope();
    LogScope(const LogScope&) = delete;
    LogScope& operator=(const LogScope&) = delete;

    const char* Name() const { return m_name; }
    const wchar_t* WideName() const { return m_wideName; }

private:
    void _Enter() const;

    uint32_t m_startMs;
    wchar_t m_shown[260];
    wchar_t m_wideName[260];
    const char* m_name;
};

}  // namespace optimizer::trace

#define TRACE_WIDEN_(text) L##text
#define TRACE_WIDEN(text) TRACE_WIDEN_(text)

#define TRACE_SCOPE(name) const ::optimizer::trace::LogScope traceScope(name, TRACE_WIDEN(name))

/// Brackets one step of the method `name`; `message` is shown in its place.
#define TRACE_MARKED_SCOPE(name, message) \
    const ::optimizer::trace::LogScope traceScope(name, TRACE_WIDEN(name), message)

/// A macro, because a silent trace must not evaluate its arguments.
#define TRACE_LINE(traceLevel, ...)                                                                   \
    do {                                                                                              \
        if (::optimizer::trace::IsLive()) {                                                           \
            ::optimizer::trace::LogHolder traceHolder;                                                \
            const int32_t traceLevelValue = (traceLevel);                                             \
            ::optimizer::trace::TraceWrite(traceHolder.Get(), 0, &traceLevelValue, traceScope.Name(), \
                                           traceScope.WideName(), __VA_ARGS__);                       \
        }                                                                                             \
    } while (false)
