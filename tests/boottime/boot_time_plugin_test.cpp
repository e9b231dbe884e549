// The component as its host and clients meet it, over a boot that the test drives.
#include "boottime/boot_time_plugin.h"

#include "frame/module_path.h"
#include "frame/vx_list.h"
#include "tests/boottime/boot_fixture.h"
#include "tests/support/simulated_users.h"

namespace boottime {
namespace {

constexpr const wchar_t* kTime = L"last_boot_time_information.json";
constexpr const wchar_t* kImpact = L"last_boot_time_process_impact.json";
constexpr const char* kStoredTime = R"({"bootTime":"500","systemStartTimestamp":"13000000000000"})";
constexpr const char* kStoredImpact =
    R"({"processes":[{"counters":["1","2","-3","4","5"],"name":"a\u00e9","pid":"8","ppid":"4"}]})";

class BootTimePluginTest : public test_support::BootFixture {
protected:
    BootTimePluginTest() { m_machine.idleTicksPerPass = 20'000'000; }
    ~BootTimePluginTest() override { m_plugin.Stop(); }

    void Begin(CBootTimePlugin& plugin) {
        ASSERT_EQ(plugin.Init(&m_host) + plugin.AddEventsObserver(this) + plugin.Start(), 0U);
    }
    void Store(const std::string& time, const std::string& impact) const {
        rig::WriteFileText(File(kTime), time);
        rig::WriteFileText(File(kImpact), impact);
    }
    std::string Stored(const wchar_t* name) const { return rig::ReadFileText(File(name)); }
    /// 0 when the plug-in doesn't tell.
    static uint32_t BootTime(CBootTimePlugin& plugin) {
        uint32_t timeMs = 0;
        return plugin.GetBootTime(&timeMs) == 0 ? timeMs : 0;
    }
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
    Begin(m_plugin);
    EXPECT_EQ(AwaitEnd(), 0U);
    EXPECT_EQ(BootTime(m_plugin), 82000U);
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
    EXPECT_EQ(BootTime(m_plugin), 500U);
    EXPECT_EQ(Stored(kTime), R"({"bootTime":"500","systemStartTimestamp":"13000000001999"})");
    EXPECT_EQ(Stored(kImpact),
              "{\"processes\":[{\"counters\":[\"1\",\"2\",\"-3\",\"4\",\"5\"],\"name\":\"a\xC3\xA9\","
              "\"pid\":\"8\",\"ppid\":\"4\"}]}");
    EXPECT_EQ(CountImpacts({4, 8, {}, {}}), 1U);
}

TEST_F(BootTimePluginTest, TheStoredStartOfTheMachineDecides) {
    struct Case {
        const char* stored;
        int64_t startedLaterMs;
        bool isLogged;
        uint32_t tick;
        uint32_t status, bootTimeMs;
        int passes;
    };
    const Case kCases[] = {
        {kStoredTime, 2000, true, 20000, 0, 81000, 62},  // another boot
        {kStoredTime, 5000, false, 8000000, 0, 500, 1},  // can't be timed any more: the last one's
        {"", 0, true, 20000, 2, 0, 0},                   // comes too late
    };
    m_machine.logonPass = 0;
    for (const Case& c : kCases) {
        CBootTimePlugin plugin;
        Store(c.stored, kStoredImpact);
        m_machine.startedMs = 13'000'000'000'000 + c.startedLaterMs;
        m_machine.passes = 0;
        m_scm.tick = c.tick;
        test_support::SetSimulatedUser(L"", c.isLogged ? L"ann" : L"");
        Begin(plugin);
        EXPECT_EQ(AwaitEnd(), c.status);
        EXPECT_EQ(BootTime(plugin), c.bootTimeMs);
        EXPECT_EQ(m_machine.passes, c.passes);
        EXPECT_EQ(Stored(kImpact) == R"({"processes":[]})", c.bootTimeMs == 81000);
        plugin.Stop();
    }
}

TEST_F(BootTimePluginTest, AStopEndsEachPhase) {
    struct Phase {
        int pass;
        bool isStored;
    };
    for (const Phase phase : {Phase{1, false}, Phase{30, false}, Phase{63, true}}) {
        CBootTimePlugin plugin;
        optimizer::KernelHandle reached(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        m_machine.passes = 0;
        m_machine.idleTicksPerPass = 0;  // the disk measurement waits
        m_machine.onPass = [&](int pass) {
            if (pass != phase.pass) return;
            SetEvent(reached.Get());
            EXPECT_EQ(WaitForSingleObject(m_machine.stopEvent, 10000), WAIT_OBJECT_0);
        };
        plugin.Stop();  // before anything
        Begin(plugin);
        EXPECT_EQ(WaitForSingleObject(reached.Get(), 10000), WAIT_OBJECT_0);
        plugin.Stop();
        EXPECT_EQ(AwaitEnd(), 2U) << "told before the stop is over";
        EXPECT_EQ(m_machine.passes, phase.pass);
        EXPECT_EQ(!Stored(kTime).empty(), phase.isStored);
        EXPECT_TRUE(m_scm.openHandles == 0 && m_processes.function == nullptr);
        plugin.Stop();
        plugin.UnInit();
    }
}

TEST_F(BootTimePluginTest, DamagedFilesAreToldApart) {
    struct Case {
        std::string time, impact;
        uint32_t status;
        const wchar_t* trace;
        const char* kept;  // of the impact; empty for a file that isn't written again
    };
    const std::string kStart = R"({"systemStartTimestamp":"13000000000000")";
    const std::string kGood = kStart + R"(,"bootTime":"5"})";
    const std::string kEntry = R"({"pid":"8","ppid":"4","name":"a")";
    const std::string kEntryKept = R"(,"name":"a","pid":"8","ppid":"4"}]})";
    const std::string kZeros = R"({"processes":[{"counters":["0","0","0","0","0"])" + kEntryKept;
    const Case kCases[] = {
        {kStart + "}", kStoredImpact, 2, L"Invalid last boot json file", ""},
        {kStart + R"(,"bootTime":"4294967296"})", kStoredImpact, 2, L"Invalid last boot json file", ""},
        {kStart + R"(,"bootTime":5})", kStoredImpact, 2, L"Invalid last boot json file", ""},
        {kGood, "", 2, L"Invalid json file format : the file is empty", ""},
        {kGood, "{\"processes\":[", 2, L"Invalid json file format : syntax error at line 1 near: ", ""},
        {kGood, "[]", 2, L"Invalid last boot json file", ""},
        {kGood, R"({"processes":"x"})", 0, L"Json not containing an array", R"({"processes":[]})"},
        {kGood, R"({"processes":[7]})", 0, L"Skipping json entry. Not an object", R"({"processes":[]})"},
        {kGood, R"({"processes":[)" + kEntry + "}]}", 0, L"[JSON] Not all keys present. skipping ...\n",
         R"({"processes":[]})"},
        {kGood, R"({"processes":[)" + kEntry + R"(,"counters":{}}]})", 0,
         L"[JSON] Counters not stored in an array", kZeros.c_str()},
        {kGood, R"({"processes":[)" + kEntry + R"(,"counters":["1","2","3","4"]}]})", 0,
         L"Loading data from json", kZeros.c_str()},
    };
    for (const Case& c : kCases) {
        CBootTimePlugin plugin;
        Store(c.time, c.impact);
        Begin(plugin);
        EXPECT_EQ(AwaitEnd(), c.status) << c.time << c.impact;
        plugin.Stop();
        EXPECT_TRUE(m_traces.Has(c.trace)) << c.trace;
        EXPECT_EQ(Stored(kImpact), *c.kept != 0 ? c.kept : c.impact);
    }
    for (const char* const time :
         {"", "{", "[]", R"({"systemStartTimestamp":"1x"})", R"({"systemStartTimestamp":1})"}) {
        int64_t start = 7;
        Store(time, "");
        ASSERT_EQ(m_plugin.Init(&m_host), 0U);
        m_plugin.GetLastSystemStartTime(start);
        EXPECT_EQ(start, 7) << time;
    }
}

TEST_F(BootTimePluginTest, LoadingTwiceAddsTheTotalsTwice) {
    BootTimeAnalyser analyser;
    Store("", kStoredImpact);
    analyser.LoadLastBootProcessImpactFromDisk(File(L""));
    analyser.LoadLastBootProcessImpactFromDisk(File(L""));
    ProcessCounters total = {};
    EXPECT_EQ(analyser.GetTotalBootImpact(&total), Status::Ready);
    EXPECT_TRUE(total.cpuKernelTime == 2 && total.bytesRead == -6 && total.bytesOther == 10);
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
    EXPECT_EQ(m_plugin.Start(), 0U) << "no error, and no thread";
    EXPECT_EQ(m_plugin.GetBootTime(nullptr), 1U);
}

}  // namespace
}  // namespace boottime
