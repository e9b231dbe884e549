// How much memory of its own the host takes while it has nothing to do.
#include <stdexcept>

#include <windows.h>

#include <psapi.h>
#include <tlhelp32.h>

#include "bench/harness.h"
#include "frame/handles.h"
#include "frame/module_path.h"
#include "tools/rig/child_process.h"
#include "tools/rig/installation.h"

namespace bench {

namespace {

constexpr double kMiB = 1024 * 1024;

/// The one process that this one has started.
DWORD ChildId() {
    const optimizer::FileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Process32FirstW(snapshot.Get(), &entry); more;
         more = Process32NextW(snapshot.Get(), &entry)) {
        if (entry.th32ParentProcessID == GetCurrentProcessId()) return entry.th32ProcessID;
    }
    throw std::runtime_error("the host isn't there");
}

double PrivateMiB(DWORD processId) {
    const optimizer::KernelHandle process(
        OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, processId));
    PROCESS_MEMORY_COUNTERS counters = {};
    if (!GetProcessMemoryInfo(process.Get(), &counters, sizeof(counters))) {
        throw std::runtime_error("the system doesn't tell the host's memory");
    }
    // The documented twin of PrivateUsage, which Wine leaves at 0. Wine counts what is resident there.
    return static_cast<double>(counters.PagefileUsage) / kMiB;
}

}  // namespace

Figure HostMemory() {
    const rig::Installation installation(
        rig::ReadFileText(optimizer::GetModuleFolder() + L"..\\..\\bin\\settings\\optimizer\\profiles.json"));
    Figure figure{"host at rest, private memory", "MiB", 12, {}, {}};
    for (int pass = 0; pass < kPasses; ++pass) {
        rig::ChildProcess host(installation.Host(L"console"));
        if (!host.WaitForLine("ready")) throw std::runtime_error("the host doesn't start");
        const DWORD hostId = ChildId();
        // The answer to a request tells that the start is over.
        if (rig::RunProgram(installation.Control(L"profile get")).exitCode != 0)
            throw std::runtime_error("the host doesn't answer");
        figure.values.push_back(PrivateMiB(hostId));
        if (host.Finish() != 0) throw std::runtime_error("the host doesn't end as it should");
    }
    return figure;
}

}  // namespace bench
