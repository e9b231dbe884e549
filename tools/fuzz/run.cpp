#include "tools/fuzz/run.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <exception>
#include <thread>

#include <windows.h>

#include <psapi.h>

#include "frame/handles.h"
#include "frame/text.h"
#include "tools/rig/temporary_folder.h"

namespace fuzz {

namespace {

constexpr uint64_t kBatch = 1000;
constexpr ULONGLONG kHangMs = 60000;  // a busy machine makes seconds out of a second
constexpr int kGuilty = 3;

struct Present {
    const char* target = "";
    uint64_t seed = 0;
    uint64_t number = 0;
    std::wstring folder;
};
Present g_present;
std::atomic<ULONGLONG> g_startedMs = 0;  // of the input under way; 0 between two
std::atomic<bool> g_isTold = false;

[[noreturn]] void EndWith(const char* what) {
    if (g_isTold.exchange(true)) Sleep(INFINITE);  // another thread is telling
    const std::wstring path =
        g_present.folder + optimizer::Widen(g_present.target) + L"-" + std::to_wstring(g_present.number);
    rig::WriteFileText(path, MadeSoFar());
    std::printf("%s: input %llu of seed %llu %s; it is in %ls\n", g_present.target,
                static_cast<unsigned long long>(g_present.number),
                static_cast<unsigned long long>(g_present.seed), what, path.c_str());
    std::fflush(stdout);
    TerminateProcess(GetCurrentProcess(), kGuilty);
    std::abort();
}

LONG WINAPI OnCrash(EXCEPTION_POINTERS* pointers) {
    char what[80];
    std::snprintf(what, sizeof what, "crashed with 0x%lx at %p", pointers->ExceptionRecord->ExceptionCode,
                  pointers->ExceptionRecord->ExceptionAddress);
    EndWith(what);
}

/// Ends the process when an input hangs.
class Watchdog {
public:
    Watchdog() : m_thread([this] { _Watch(); }) {}
    ~Watchdog() {
        SetEvent(m_end.Get());
        m_thread.join();
    }
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

private:
    void _Watch() const {
        while (WaitForSingleObject(m_end.Get(), 500) == WAIT_TIMEOUT) {
            const ULONGLONG startedMs = g_startedMs;
            if (startedMs != 0 && GetTickCount64() - startedMs > kHangMs) EndWith("hangs");
        }
    }

    optimizer::KernelHandle m_end{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    std::thread m_thread;
};

int64_t PrivateBytes() {
    PROCESS_MEMORY_COUNTERS counters = {};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return static_cast<int64_t>(counters.PagefileUsage);
}

double NowMs() {
    LARGE_INTEGER count = {};
    LARGE_INTEGER frequency = {};
    QueryPerformanceCounter(&count);
    QueryPerformanceFrequency(&frequency);
    return static_cast<double>(count.QuadPart) * 1000 / static_cast<double>(frequency.QuadPart);
}

void TryOne(Target& target, uint64_t number, RunResult& result) {
    ForgetMade();
    g_present.number = number;
    Hostile hostile(g_present.seed, number);
    g_startedMs = GetTickCount64();
    const double startMs = NowMs();
    const bool isAccepted = target.Try(hostile);
    result.worstMs = std::max(result.worstMs, NowMs() - startMs);
    g_startedMs = 0;
    ++(isAccepted ? result.accepted : result.refused);
}

bool Ask(Target& target) {
    g_startedMs = GetTickCount64();
    const bool isSound = target.IsSound();
    g_startedMs = 0;
    return isSound;
}

}  // namespace

RunResult Run(const NamedTarget& named, const RunLimits& limits) {
    SetUnhandledExceptionFilter(&OnCrash);
    std::signal(SIGABRT, [](int) { EndWith("aborted"); });
    std::set_terminate([] { EndWith("threw out of the product"); });
    g_present = {named.name, limits.seed, limits.first, limits.folder};
    const Watchdog watchdog;
    const std::unique_ptr<Target> target = named.make();
    RunResult result;
    result.isSound = Ask(*target);
    const double startMs = NowMs();
    const double wholeMs = limits.seconds * 1000.0;
    int64_t warmBytes = 0;
    for (uint64_t done = 0; result.isSound; ++done) {
        const double goneMs = NowMs() - startMs;
        const bool isOver = limits.inputs != 0 ? done >= limits.inputs : goneMs >= wholeMs;
        if (isOver) break;
        const bool isWarm = limits.inputs != 0 ? done >= limits.inputs / 10 : goneMs >= wholeMs / 10;
        if (isWarm && warmBytes == 0) warmBytes = PrivateBytes();
        TryOne(*target, limits.first + done, result);
        if (done % kBatch == kBatch - 1) result.isSound = Ask(*target);
    }
    result.isSound = result.isSound && Ask(*target);
    result.grownBytes = PrivateBytes() - warmBytes;
    return result;
}

}  // namespace fuzz
