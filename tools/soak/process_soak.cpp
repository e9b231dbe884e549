// 2,000 programs start and end within a minute while the real host has them in its profile "Game".
//
// Nothing is lost on the way from the host's look at the system to the engine when each start comes out at
// the other end as one event, and when no program is left in the engine's picture of what runs: an event
// names how many processes of the program there are, which is one for a program started when all the others
// have ended.
//
// The host looks every 250 ms and isn't told of what starts and ends in between; so each program lives for a
// second.
#include <algorithm>
#include <cwchar>
#include <deque>
#include <memory>
#include <stdexcept>
#include <string>

#include "frame/module_path.h"
#include "frame/text.h"
#include "host/terminal/terminal.h"
#include "tools/rig/child_process.h"
#include "tools/rig/installation.h"
#include "tools/rig/process_state.h"
#include "tools/rig/scratch_services.h"

namespace {

using host::PrintLine;
using rig::ChildProcess;

constexpr uint32_t kPrograms = 2000;
constexpr uint32_t kWarmUp = 200;  // what a host allocates once isn't a leak
constexpr ULONGLONG kLifeMs = 1000;
constexpr ULONGLONG kLimitMs = 60000;
constexpr ULONGLONG kGapMs = (kLimitMs - 2 * kLifeMs) / kPrograms;  // between two starts
constexpr double kMostGrowth = 1.1;

constexpr const char* kProfiles =
    R"({"SystemActions":[],"Disabled":{},"Work":{},"Game":{"WindowsProcesses":{"settings":[]}},"Movie":{},
        "Battery":{}})";
constexpr const char* kApplications = R"({"Game":[{"name":"scratch_process.exe"}]})";
constexpr const char* kEvent = R"("event":"processOptimized","process":"scratch_process.exe")";

struct Program {
    ULONGLONG startedMs = 0;
    std::unique_ptr<ChildProcess> process;
};

std::unique_ptr<ChildProcess> StartProgram() {
    return std::make_unique<ChildProcess>(L"\"" + optimizer::GetModuleFolder() + L"scratch_process.exe\"");
}

void SleepUntil(ULONGLONG timeMs) {
    const ULONGLONG now = GetTickCount64();
    if (now < timeMs) Sleep(static_cast<DWORD>(timeMs - now));
}

/// Starts the programs at their pace and ends each after its life; returns when the last one has ended.
void RunPrograms(uint32_t count) {
    std::deque<Program> alive;
    const ULONGLONG beginMs = GetTickCount64();
    for (uint32_t i = 0; i < count; ++i) {
        SleepUntil(beginMs + i * kGapMs);
        while (!alive.empty() && GetTickCount64() >= alive.front().startedMs + kLifeMs)
            alive.pop_front();
        auto process = StartProgram();
        alive.push_back({GetTickCount64(), std::move(process)});
    }
    for (; !alive.empty(); alive.pop_front())
        SleepUntil(alive.front().startedMs + kLifeMs);
}

/// The installed host with the programs in its profile, and a client that hears what it tells.
class Host {
public:
    Host() : m_installation(kProfiles) {
        rig::WriteFileText(m_installation.SettingsFile(L"applications.json"), kApplications);
        m_host = std::make_unique<ChildProcess>(m_installation.Host(L"console"));
        if (!m_host->WaitForLine("ready")) throw std::runtime_error("the host doesn't start");
        _Control(L"module on");
        m_watch = std::make_unique<ChildProcess>(m_installation.Control(L"watch --json"));
        if (!m_watch->WaitForLine("watching")) throw std::runtime_error("the client doesn't connect");
        _Control(L"profile set --wait Game");
    }
    ~Host() { m_host->Finish(); }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    DWORD Id() const { return m_host->Id(); }
    /// Events of the programs so far; `last` becomes the newest.
    size_t CountEvents(std::string* last = nullptr) const {
        size_t count = 0;
        for (const std::string& line : m_watch->Lines()) {
            if (line.find(kEvent) == std::string::npos) continue;
            ++count;
            if (last != nullptr) *last = line;
        }
        return count;
    }
    bool HasTold(size_t events) const {
        return rig::WaitUntil([&] { return CountEvents() >= events; });
    }

private:
    void _Control(const std::wstring& arguments) const {
        if (rig::RunProgram(m_installation.Control(arguments)).exitCode != 0)
            throw std::runtime_error("the host doesn't do what it is told");
    }

    const rig::Installation m_installation;
    std::unique_ptr<ChildProcess> m_host;
    std::unique_ptr<ChildProcess> m_watch;
};

/// The host's memory of its own when it has nothing to do: once it gives nothing more back.
size_t BytesAtRest(const Host& host) {
    size_t bytes = ~size_t{0};
    for (size_t now = rig::PrivateBytes(host.Id()); now < bytes; now = rig::PrivateBytes(host.Id())) {
        bytes = now;
        Sleep(2000);
    }
    return bytes;
}

void PrintRow(const wchar_t* what, const std::wstring& value) {
    wchar_t row[160] = {};
    _snwprintf(row, std::size(row) - 1, L"  %-46s%s", what, value.c_str());
    PrintLine(row);
}

bool RunSoak() {
    const Host host;
    RunPrograms(kWarmUp);
    bool told = host.HasTold(kWarmUp);
    const size_t before = BytesAtRest(host);

    const ULONGLONG beginMs = GetTickCount64();
    RunPrograms(kPrograms);
    const ULONGLONG tookMs = GetTickCount64() - beginMs;
    told = host.HasTold(kWarmUp + kPrograms) && told;
    const size_t events = host.CountEvents() - kWarmUp;
    const size_t after = BytesAtRest(host);

    const auto last = StartProgram();
    std::string lastEvent;
    told = host.HasTold(kWarmUp + kPrograms + 1) && told;
    const bool isExact = host.CountEvents(&lastEvent) == kWarmUp + kPrograms + 1;
    const bool isAlone = lastEvent.starts_with(R"({"count":1,)");

    PrintRow(L"programs started and ended",
             std::to_wstring(kPrograms) + L" in " + std::to_wstring(tookMs) + L" ms");
    PrintRow(L"of these told to a client as raised", std::to_wstring(events));
    PrintRow(L"what is told of one that starts afterwards", optimizer::Widen(lastEvent));
    PrintRow(L"private memory of the host at rest", std::to_wstring(before / 1024) + L" KiB before, " +
                                                        std::to_wstring(after / 1024) + L" KiB after");

    const struct {
        bool isMet;
        const wchar_t* sentence;
    } demands[] = {
        {tookMs <= kLimitMs,
         L"This machine was too slow for that many programs in a minute; try again when it is quiet."},
        {told && isExact, L"The events are not as many as the programs."},
        {isAlone, L"The host believes that programs run which have ended."},
        {static_cast<double>(after) <= static_cast<double>(before) * kMostGrowth,
         L"The host's memory grew by more than a tenth."},
    };
    bool isGood = true;
    for (const auto& demand : demands) {
        if (demand.isMet) continue;
        host::PrintErrorLine(demand.sentence);
        isGood = false;
    }
    return isGood;
}

}  // namespace

int wmain() {
    try {
        PrintLine(std::to_wstring(kPrograms) +
                  L" programs, each alive for a second, at most a minute in all");
        if (!RunSoak()) return 1;
        PrintLine(L"no start and no end was lost, and the host is as it was");
        return 0;
    } catch (const std::exception& error) {
        host::PrintErrorLine(L"The run can't go on: " + optimizer::Widen(error.what()) + L".");
        return 1;
    }
}
