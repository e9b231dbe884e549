#pragma once

namespace test_support {

/// Set by a test, and cleared by it: the system calls itself older than Windows Vista.
inline bool g_isOlderThanVista = false;

}  // namespace test_support
