#pragma once

#include <cstdint>

namespace optimizer {

class WindowsProcess {
public:
    /// `priorityClass` is one of the platform's ..._PRIORITY_CLASS.
    static bool SetPriority(uint32_t pid, uint32_t priorityClass);
};

}  // namespace optimizer
