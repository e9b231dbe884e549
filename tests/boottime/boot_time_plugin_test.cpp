// The component as its host and clients meet it, over a boot that the test drives.
#include "boottime/boot_time_plugin.h"

#include <algorithm>

#include "frame/module_path.h"
#include "frame/users_library.h"
#include "frame/vx_list.h"
#include "tests/boottime/boot_fixture.h"
#include "tests/support/simulated_users.h"

namespace boottime {
namespace {

constexpr const wchar_t* kTime = L"last_boot_time_information.json";
constexpr const wchar_t* kImpact = L"last_boot_time_process_impact.json";
constexpr const char* kStoredTime = R"({"bootTime":"500","systemStartTimestamp":"13000000000000"})";
constexpr const char* kStoredImpact =
    R"({"processes":[{"counters":["1","2","-3","4","5"],"name":"a\u00e9","pid":"8","ppid":"4294967300"}]})";

class BootTimePluginTest : public test_support::BootFixture {
protected:
    ~BootTimePluginTest() override { m_plugin.Stop(); }

    void Begin(CBootTimePlugin& plugin) {
        ASSERT_EQ(plugin.Init(&m_host) + plugin.AddEventsObserver(this) + plugin.Start(), 0U);
    }
    void Store(const std::string& time, const std::string& impact) const {
        rig::WriteFileText(File(kTime), time);
        rig::WriteFileText(File(kImpact), impact);
    }
    std::string Stored(const wchar_t* name) const { return rig::ReadFileText(File(name)); }
    uint64_t CountImpacts(const ProcessImpact& asked) {
        vx::List<ProcessImpact> list;
        ProcessImpact filter = asked;
        EXPECT_EQ(m_plugin.GetBootImpact(&list, &filter), 0U);
        return list.GetCount();
    }

    CBootTimePlugin m_plugin;
};

TEST_F(BootTimePluginTest, ABootIsMeasuredStoredAndTold) {
    m_machine.processes = {{4, {0, 3ULL << 30, 50}}, {6, {900, 10, 0}}};
    m_machine.onPass = [this](int) {
        uint32_t timeMs = 7;
        DiskSpeed speed = {7, 7, 7};
        EXPECT_TRUE(m_plugin.GetBootTime(&timeMs) == 1 && timeMs == 7);
        EXPECT_TRUE(m_plugin.GetDiskSpeed(&speed) == 1 && speed.max_hddUsage == 0);
    };
    EXPECT_EQ(m_plugin.AddEventsObserver(nullptr), 87U);
    Begin(m_plugin);
    EXPECT_EQ(AwaitEnd(), 0U);
    uint32_t timeMs = 0;
    EXPECT_EQ(m_plugin.GetBootTime(&timeMs), 0U);
    EXPECT_EQ(timeMs, 82000U);
    EXPECT_EQ(Stored(kTime), R"({"bootTime":"82000","systemStartTimestamp":"13000000000000"})");
    EXPECT_EQ(
        Stored(kImpact),
        R"({"processes":[{"counters":["50","7","-1073741824","1610612736","1"],"name":"C:\\found.exe","pid":"4","ppid":"0"},)"
        R"({"counters":["27000","7","10","5","1"],"name":"C:\\found.exe","pid":"6","ppid":"0"}]})");

    ProcessCounters total = {};
    EXPECT_EQ(m_plugin.GetTotalBootImpact(&total), 0U);
    EXPECT_TRUE(total.cpuKernelTime == 27050 && total.bytesRead == -1073741814 && total.bytesOther == 2);
    DiskSpeed speed = {};
    EXPECT_EQ(m_plugin.GetDiskSpeed(&speed), 0U);
    EXPECT_TRUE(speed.min_hddUsage == 1.5 && speed.max_hddUsage == 15 && speed.average_hddUsage == 6);
    EXPECT_EQ(m_plugin.GetBootImpact(nullptr, nullptr), 2U);
    EXPECT_EQ(CountImpacts({0, 6, {}, {}}), 1U);
    EXPECT_EQ(CountImpacts({0, 7, {}, {}}) + CountImpacts({9, 6, {}, {}}), 0U);
    EXPECT_EQ(CountImpacts({0, 0, vx::String(L"C:\\found.exe"), {}}), 2U);
    EXPECT_EQ(CountImpacts({0, 0, vx::String(L"C:\\Found.exe"), {}}), 0U);
}

TEST_F(BootTimePluginTest, ARestartOfTheServiceLoadsTheResult) {
    Store(kStoredTime, kStoredImpact);
    m_machine.startedMs += 1999;
    Begin(m_plugin);
    EXPECT_EQ(AwaitEnd(), 0U);
    EXPECT_EQ(m_machine.passes, 0);
    EXPECT_EQ(Stored(kTime), R"({"bootTime":"500","systemStartTimestamp":"13000000001999"})");
    EXPECT_EQ(Stored(kImpact),
              "{\"processes\":[{\"counters\":[\"1\",\"2\",\"-3\",\"4\",\"5\"],\"name\":\"a\xC3\xA9\","
              "\"pid\":\"8\",\"ppid\":\"4\"}]}");
    EXPECT_EQ(CountImpacts({4, 8, {}, {}}), 1U);
    BootTimeAnalyser analyser;
    ProcessCounters total = {};
    for (int32_t i = 1; i <= 2; ++i) {
        analyser.LoadLastBootProcessImpactFromDisk(File(L""));
        EXPECT_EQ(analyser.GetTotalBootImpact(&total), Status::Ready);
        EXPECT_TRUE(total.cpuKernelTime == i && total.bytesRead == -3 * i) << "added at each load";
    }
}

TEST_F(BootTimePluginTest, AStopEndsEachPhase) {
    for (const int last : {1, 30, 63}) {
        CBootTimePlugin plugin;
        optimizer::KernelHandle reached(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        m_machine.passes = 0;
        m_machine.idleTicksPerPass = 0;  // the disk measurement waits
        m_machine.onPass = [&](int pass) {
            if (pass != last) return;
            SetEvent(reached.Get());
            Await(m_machine.stopEvent);
        };
        plugin.Stop();  // before anything
        Begin(plugin);
        Await(reached.Get());
        plugin.Stop();
        EXPECT_EQ(AwaitEnd(), 2U) << "told before the stop is over";
        EXPECT_EQ(m_machine.passes, last);
        EXPECT_EQ(Stored(kTime).empty(), last < 63) << "the boot was timed before its disk";
        EXPECT_TRUE(m_scm.openHandles == 0 && m_processes.function == nullptr);
        plugin.Stop();
        plugin.UnInit();
    }
}

TEST_F(BootTimePluginTest, WhatTheFilesHoldDecides) {
    struct Case {
        std::string time, impact;
        uint32_t status;
        const wchar_t* trace;
        std::string kept;  // of the impact; empty for a file that isn't written again
        int64_t startedLaterMs = 0;
        uint32_t tick = 20000;
    };
    const std::string kStart = R"({"systemStartTimestamp":"13000000000000")";
    const std::string kGood = kStart + R"(,"bootTime":"5"})";
    const std::string kEntry = R"({"processes":[{"pid":"8","ppid":"4","name":"a")";
    constexpr const char* kNone = R"({"processes":[]})";
    constexpr const char* kZeros =
        R"({"processes":[{"counters":["0","0","0","0","0"],"name":"a","pid":"8","ppid":"4"}]})";
    constexpr const wchar_t* kInvalid = L"Invalid last boot json file";
    const Case kCases[] = {
        {"", kZeros, 2, L"no boot time (user logged)", ""},
        {"[]", kZeros, 2, L"no boot time (user logged)", ""},
        {R"({"systemStartTimestamp":"1x"})", kZeros, 2, L"no boot time (user logged)", ""},
        {kGood, kZeros, 0, L"must start processes monitor (diff system start time)", kNone, 2000},
        {kGood, kZeros, 0, L"Monitor did not detect boot time; Trying to load last boot time data", kZeros,
         2000, 7200000},
        {kStart + "}", kZeros, 2, kInvalid, ""},
        {kStart + R"(,"bootTime":"4294967296"})", kZeros, 2, kInvalid, ""},
        {kStart + R"(,"bootTime":5})", kZeros, 2, kInvalid, ""},
        {kGood, "", 2, L"Invalid json file format : the file is empty", ""},
        {kGood, "{\"processes\":[", 2, L"Invalid json file format : syntax error at line 1 near: ", ""},
        {kGood, "[]", 2, kInvalid, ""},
        {kGood, R"({"processes":"x"})", 0, L"Json not containing an array", kNone},
        {kGood, R"({"processes":[7]})", 0, L"Skipping json entry. Not an object", kNone},
        {kGood, kEntry + "}]}", 0, L"[JSON] Not all keys present. skipping ...\n", kNone},
        {kGood, kEntry + R"(,"counters":{}}]})", 0, L"[JSON] Counters not stored in an array", kZeros},
        {kGood, kEntry + R"(,"counters":["1","2","3","4"]}]})", 0, L"Loading data from json", kZeros},
    };
    test_support::SetSimulatedUser(L"", L"ann");
    for (const Case& c : kCases) {
        CBootTimePlugin plugin;
        Store(c.time, c.impact);
        m_scm.tick = c.tick;
        m_machine.startedMs = 13'000'000'000'000 + c.startedLaterMs;
        const auto before = static_cast<ptrdiff_t>(m_traces.Lines().size());
        Begin(plugin);
        EXPECT_EQ(AwaitEnd(), c.status) << c.time << c.impact;
        plugin.Stop();
        const auto lines = m_traces.Lines();
        EXPECT_NE(std::ranges::find(lines.begin() + before, lines.end(), c.trace), lines.end()) << c.trace;
        EXPECT_EQ(Stored(kImpact), c.kept.empty() ? c.impact : c.kept);
    }
}

TEST_F(BootTimePluginTest, ABusyMachinesDiskIsMeasuredAfterTenSeconds) {
    m_machine.idleTicksPerPass = 0;
    BootTimeDiskPerformance disk;
    DiskSpeed speed = {};
    disk.Start(m_stopEvent.Get());
    EXPECT_EQ(disk.GetDiskSpeed(&speed), Status::Failed) << "nobody to ask";
    disk.SetLoadUsage(&m_loadUsage);
    disk.Start(m_stopEvent.Get());
    EXPECT_EQ(m_machine.passes, 11);
    EXPECT_EQ(disk.GetDiskSpeed(&speed), Status::Ready);
    EXPECT_TRUE(m_loadUsage.calls == 2 && speed.max_hddUsage == 15);
}

TEST_F(BootTimePluginTest, WhatInitCantGetItGivesBack) {
    EXPECT_EQ(m_plugin.Init(nullptr), 0xFFFFFFFFU);
    EXPECT_TRUE(
        m_traces.Has(L"settingsFolderPath=" + optimizer::GetProgramFolder() + L"settings\\optimizer\\"));
    for (const wchar_t* const missing : {L"processdp", L"LoadUsage"}) {
        m_host.manager.plugins.erase(missing);
        EXPECT_EQ(m_plugin.Init(&m_host), 1168U);
        EXPECT_TRUE(m_traces.Has(L"GetPlugin " + std::wstring(missing) + L" failed 0x490"));
        EXPECT_TRUE(m_traces.Has(L"settingsFolderPath=" + File(L""))) << "told in all cases";
        m_host.manager.plugins[L"processdp"] = &m_processes;
    }
    EXPECT_TRUE(optimizer::VxUsersLibrary::Instance().IsBound()) << "others hold it still";
    EXPECT_EQ(m_plugin.Start(), 0U) << "no error, and no thread";
    EXPECT_EQ(m_plugin.GetBootTime(nullptr), 1U);
}

}  // namespace
}  // namespace boottime
