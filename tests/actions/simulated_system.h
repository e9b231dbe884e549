#pragma once

#include <string>

namespace test_support {

/// What the system looks like to this test program, by default as it is.
struct SimulatedSystem {
    bool isOlderThanVista = false;
    std::string missingExport;  // a name that no library exports
};
extern SimulatedSystem g_system;

}  // namespace test_support
