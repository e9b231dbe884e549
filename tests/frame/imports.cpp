#include "tests/frame/imports.h"

#include <mmsystem.h>

namespace frame_test {

Imports g_imports;

namespace {

DWORD WINAPI Time() {
    return g_imports.timeMs;
}

}  // namespace
}  // namespace frame_test

extern "C" {
decltype(&timeGetTime) __imp_timeGetTime = &frame_test::Time;
}
