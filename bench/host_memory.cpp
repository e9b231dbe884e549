// How much memory of its own the host takes while it has nothing to do.
#include <stdexcept>
#include <thread>
#include <vector>

#include <windows.h>

#include <tlhelp32.h>

#include "bench/harness.h"
#include "frame/handles.h"
#include "frame/module_path.h"
#include "tools/rig/child_process.h"
#include "tools/rig/installation.h"
#include "tools/rig/process_state.h"

namespace bench {

namespace {

constexpr double kMiB = 1024 * 1024;

size_t CountThreads(DWORD processId) {
    const optimizer::FileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof(entry);
    size_t count = 0;
    for (BOOL more = Thread32First(snapshot.Get(), &entry); more != FALSE;
         more = Thread32Next(snapshot.Get(), &entry)) {
        if (entry.th32OwnerProcessID == processId) ++count;
    }
    return count;
}

/// What the system itself keeps for a thread that waits, in this process. Windows takes some kilobytes for
/// it, Wine nearly one MiB.
double BytesOfIdleThread() {
    constexpr int kThreads = 16;
    const optimizer::KernelHandle end(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const size_t before = rig::PrivateBytes(GetCurrentProcessId());
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([&] { WaitForSingleObject(end.Get(), INFINITE); });
    while (CountThreads(GetCurrentProcessId()) < kThreads)
        Sleep(1);
    const size_t after = rig::PrivateBytes(GetCurrentProcessId());
    SetEvent(end.Get());
    for (std::thread& thread : threads)
        thread.join();
    return after > before ? static_cast<double>(after - before) / kThreads : 0;
}

}  // namespace

Figure HostMemory() {
    const rig::Installation installation(
        rig::ReadFileText(optimizer::GetModuleFolder() + L"..\\..\\bin\\settings\\optimizer\\profiles.json"));
    Figure figure{"host at rest, private memory", "MiB without the system's for its threads", 5, {}, {}};
    const double threadBytes = BytesOfIdleThread();
    for (int pass = 0; pass < kPasses; ++pass) {
        rig::ChildProcess host(installation.Host(L"console"));
        if (!host.WaitForLine("ready")) throw std::runtime_error("the host doesn't start");
        // The answer to a request tells that the start is over.
        if (rig::RunProgram(installation.Control(L"profile get")).exitCode != 0)
            throw std::runtime_error("the host doesn't answer");
        const auto privateBytes = static_cast<double>(rig::PrivateBytes(host.Id()));
        const size_t threads = CountThreads(host.Id());
        figure.values.push_back((privateBytes - static_cast<double>(threads) * threadBytes) / kMiB);
        figure.note = std::to_string(privateBytes / kMiB) + " MiB in all, with " + std::to_string(threads) +
                      " threads, for each of which the system itself keeps " +
                      std::to_string(threadBytes / kMiB) + " MiB";
        if (host.Finish() != 0) throw std::runtime_error("the host doesn't end as it should");
    }
    return figure;
}

}  // namespace bench
