#pragma once

#include <gtest/gtest.h>
#include <windows.h>

namespace frame_test {

/// What this program's replaced imports answer.
struct Imports {
    DWORD timeMs = 0;  // timeGetTime
};
extern Imports g_imports;

/// Tests that touch the imports, and leave them as they were.
class WithImports : public testing::Test {
protected:
    ~WithImports() override { g_imports = {}; }
};

}  // namespace frame_test
