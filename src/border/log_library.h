// The functions of log.dll.
#pragma once

#include <stdarg.h>
#include <stdint.h>

/// Writes one line. `nesting` is 1 on entering a method, -1 on leaving one, else 0. `level` is one of 4
/// (error), 8 (warning), 16 (information), 32 (method entry and exit). In `format`, %s is wide and %S narrow.
using LogWriteFunction = int32_t(int32_t nesting, const int32_t* level, const char* function,
                                 const wchar_t* wideFunction, const wchar_t* format, va_list arguments);
