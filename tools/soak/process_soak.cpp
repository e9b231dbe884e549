// 2,000 programs start and end within a minute while the real host has them in its profile "Game".
//
// Nothing is lost on the way from the host's look at the system to the engine's clients when each start that
// the look found, which the host's log names, comes out as one event; and when no program is left in the
// engine's picture of what runs: an event names how many processes of the program there are, which is one for
// a program started when all the others have ended.
//
// The host looks every 250 ms and isn't told of what starts and ends in between; so each program lives for a
// second. On a machine that is too busy even that may be too short, which isn't a loss on the way.
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
constexpr const char* kTalkativeLog = R"({"enabled":true,"level":16,"maxSizeBytes":1000000000})";
constexpr const char* kFoundStart = R"(\scratch_process.exe flags=0)";
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
        rig::WriteFileText(m_installation.File(L"settings\\log.json"), kTalkativeLog);
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
    /// Starts of the programs that the host's looks have found so far.
    size_t CountFound() const {
        const std::string log = rig::ReadFileText(m_installation.File(L"logs\\optimizerhost.log"));
        size_t count = 0;
        for (size_t at = log.find(kFoundStart); at != std::string::npos; at = log.find(kFoundStart, at + 1))
            ++count;
        return count;
    }
    /// Waits until a client has heard of all that was found.
    bool HasToldAll() const {
        return rig::WaitUntil([&] { return CountEvents() >= CountFound(); }) && CountEvents() == CountFound();
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
    const size_t before = BytesAtRest(host);
    const size_t foundBefore = host.CountFound();
    bool told = host.HasToldAll();

    const ULONGLONG beginMs = GetTickCount64();
    RunPrograms(kPrograms);
    const ULONGLONG tookMs = GetTickCount64() - beginMs;
    const size_t after = BytesAtRest(host);
    told = host.HasToldAll() && told;
    const size_t found = host.CountFound() - foundBefore;
    const size_t events = host.CountEvents() - foundBefore;

    const auto last = StartProgram();
    const size_t expected = host.CountEvents() + 1;
    std::string lastEvent;
    rig::WaitUntil([&] { return host.CountEvents(&lastEvent) >= expected; });
    const bool isAlone = lastEvent.starts_with(R"({"count":1,)");

    PrintRow(L"programs started and ended",
             std::to_wstring(kPrograms) + L" in " + std::to_wstring(tookMs) + L" ms");
    PrintRow(L"of these found by the host's looks", std::to_wstring(found));
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
        {told, L"What the host found and what its client heard isn't the same."},
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
        PrintLine(L"nothing that the host found was lost on its way, and the host is as it was");
        return 0;
    } catch (const std::exception& error) {
        host::PrintErrorLine(L"The run can't go on: " + optimizer::Widen(error.what()) + L".");
        return 1;
    }
}
