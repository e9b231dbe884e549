// How much memory of its own the host takes while it has nothing to do.
#include <stdexcept>

#include "bench/harness.h"
#include "frame/module_path.h"
#include "tools/rig/child_process.h"
#include "tools/rig/installation.h"
#include "tools/rig/process_state.h"

namespace bench {

namespace {

constexpr double kMiB = 1024 * 1024;

}  // namespace

Figure HostMemory() {
    const rig::Installation installation(
        rig::ReadFileText(optimizer::GetModuleFolder() + L"..\\..\\bin\\settings\\optimizer\\profiles.json"));
    Figure figure{"host at rest, private memory", "MiB", 12, {}, {}};
    for (int pass = 0; pass < kPasses; ++pass) {
        rig::ChildProcess host(installation.Host(L"console"));
        if (!host.WaitForLine("ready")) throw std::runtime_error("the host doesn't start");
        // The answer to a request tells that the start is over.
        if (rig::RunProgram(installation.Control(L"profile get")).exitCode != 0)
            throw std::runtime_error("the host doesn't answer");
        figure.values.push_back(static_cast<double>(rig::PrivateBytes(host.Id())) / kMiB);
        if (host.Finish() != 0) throw std::runtime_error("the host doesn't end as it should");
    }
    return figure;
}

}  // namespace bench
