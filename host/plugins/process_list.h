#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "frame/handles.h"

namespace host {

/// One process as it was first seen. Its handle, where the system gives one, keeps the process id from being
/// used again and tells the end without a doubt.
struct RunningProcess {
    uint32_t pid = 0;
    uint32_t parentPid = 0;
    std::wstring imageName;
    std::wstring path;  // empty when the system doesn't tell
    optimizer::KernelHandle process;
};

using RunningProcesses = std::vector<std::shared_ptr<const RunningProcess>>;

/// What runs, by process id. A process is the same object in each list that it is in, but for one that gets
/// its path later: it becomes another one then.
using ProcessList = std::map<uint32_t, std::shared_ptr<const RunningProcess>>;

/// The list of now, with the objects of an earlier one for what is still there. 0 or the system's error, with
/// `out` as it was. Throws std::bad_alloc.
[[nodiscard]] uint32_t TakeProcessList(const ProcessList& earlier, ProcessList& out);

/// What `from` has and `to` hasn't.
RunningProcesses MissingIn(const ProcessList& to, const ProcessList& from);

}  // namespace host
