#pragma once

#include <string>
#include <vector>

#include "actions/optimizer_action.h"

namespace optimizer {

enum class ProcessPriority : int32_t {
    Idle = 0,
    BelowNormal = 1,
    Normal = 2,
    AboveNormal = 3,
    High = 4,
};

struct ProcessRecord {
    std::wstring name;
    std::wstring product;
    ProcessPriority priority = ProcessPriority::Normal;
};

/// A list of applications. It is read, written and carried along, and changes nothing on the machine: which
/// processes are raised is the host's to say, and to which class is fixed. Don't start to apply it.
struct WindowsProcessesParams final : IOptimizerActionSettings {
    void ToJson(picojson::value* out) const override;
    /// Elements without a name or a priority are left out; an unknown priority reads as the default.
    void FromJson(const picojson::value* in) override;

    std::vector<ProcessRecord> processes;
};

}  // namespace optimizer
