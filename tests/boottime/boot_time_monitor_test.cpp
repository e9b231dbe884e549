// The watch over a machine that boots, with time and the event log in the test's hands.
#include "boottime/boot_time_monitor.h"

#include "tests/boottime/boot_fixture.h"
#include "tests/support/simulated_users.h"

namespace boottime {
namespace {

class BootTimeMonitorTest : public test_support::BootFixture {
protected:
    BootTimeMonitorTest() { m_monitor.Init(&m_processes, &m_data); }
    ~BootTimeMonitorTest() override {
        m_monitor.Stop();
        m_monitor.UnInit();
    }

    /// The boot time; 0 when none was found.
    uint32_t Measure() {
        m_monitor.Start(m_stopEvent.Get());
        EXPECT_EQ(m_processes.function, nullptr) << "no notification after the measurement";
        uint32_t timeMs = 0;
        return m_monitor.GetBootTime(&timeMs) == Status::Ready ? timeMs : 0;
    }
    size_t CountSamples(uint64_t pid) {
        size_t count = 0;
        m_data.WithSamples([&](const BootTimeData::Samples& samples) {
            const auto found = samples.find({0, pid, {}});
            if (found != samples.end()) count = found->second.size();
        });
        return count;
    }
    /// The first subscription is made, or refused, before the worker asks for the next notification.
    void AwaitWorker() const { Await(m_machine.secondNotice.Get()); }

    BootTimeData m_data;
    BootTimeMonitor m_monitor;
};

TEST_F(BootTimeMonitorTest, QuietProcessesLeaveAndBusyOnesInTheEndToo) {
    m_machine.processes = {{4, {}}, {6, {150, 0, 0}}, {8, {199, 0, 0}}, {10, {200, 0, 0}}, {12, {}}};
    m_machine.refused = 12;
    m_machine.onPass = [this](int pass) {
        if (pass == 2) {
            m_machine.processes[14] = {};
            m_processes.Tell(14, L"C:\\new.exe", 0);
            m_processes.Tell(16, L"C:\\gone.exe", 0);  // can't be opened
            m_processes.Tell(4, nullptr, 0);           // under watch already: another entry, the first name
        }
        if (pass == 5) m_processes.Tell(14, L"C:\\new.exe", 3);
    };
    EXPECT_EQ(Measure(), 82000U);
    const std::vector<size_t> kCounts = {24, 12, 12, 31, 0, 3};
    for (size_t i = 0; i < kCounts.size(); ++i)
        EXPECT_EQ(CountSamples(4 + 2 * i), kCounts[i]) << "pid " << 4 + 2 * i;
    EXPECT_EQ(m_data.MaxSamples(), 31);
    EXPECT_EQ(m_machine.openProcesses, 5) << "left open on purpose, but for the one that ended";
    m_data.AddSample(1, {0, 99, {}}, {});
    EXPECT_TRUE(m_data.MaxSamples() == 31 && CountSamples(99) == 0);
    m_data.WithSamples([](const BootTimeData::Samples& samples) {
        EXPECT_STREQ(samples.begin()->first.name.Text(), L"C:\\found.exe");
    });
}

TEST_F(BootTimeMonitorTest, TheWaitForAUserDoesntCount) {
    m_machine.logonPass = 600;  // after ten quiet minutes
    EXPECT_EQ(Measure(), 21000U + 61000U);
}

TEST_F(BootTimeMonitorTest, TheSystemsEventEndsTheBoot) {
    const uint64_t kMinute = 600'000'000;
    m_log.count = 2;
    m_log.events[0] = {NowTicks() - 300'000'000, 900};  // between the machine's start and the monitor's
    m_log.events[1] = {NowTicks() - 60 * kMinute, 800};
    m_machine.processes = {{4, {500, 0, 0}}};
    m_machine.onPass = [&](int pass) {
        const SimulatedEvent kEvents[] = {
            {NowTicks() - 2 * kMinute, 1},
            {NowTicks(), 0},
            {},
            {NowTicks(), 45678},
        };
        if (pass == 1) AwaitWorker();
        EXPECT_EQ(m_log.subscriptions, pass < 3 ? 1 : 2);
        ASSERT_LE(pass, 4);
        if (pass != 3) Deliver(kEvents[pass - 1]);
    };
    EXPECT_EQ(Measure(), 45678U);
    EXPECT_EQ(m_log.bookmark, m_log.events[0].writtenTicks);
}

TEST_F(BootTimeMonitorTest, AnEventFromBeforeTheMonitorsStartIsntTaken) {
    m_log.count = 1;
    m_log.events[0] = {NowTicks(), 900};
    m_machine.onPass = [&, before = NowTicks() - 10000](int pass) {
        if (pass == 1) AwaitWorker();
        Deliver({pass == 1 ? before : NowTicks(), 5});  // what comes later meets a result already
    };
    EXPECT_EQ(Measure(), 82000U) << "its own reckoning";
}

TEST_F(BootTimeMonitorTest, WhatTheEventLogRefusesIsTriedAgain) {
    const char* const kFailing[] = {"EvtQuery",          "EvtNext",           "EvtRender",
                                    "EvtCreateBookmark", "EvtUpdateBookmark", "EvtSubscribe"};
    m_log.count = 1;
    m_log.events[0] = {NowTicks(), 900};
    m_log.failing = kFailing[0];
    m_machine.processes = {{4, {500, 0, 0}}};
    m_machine.onPass = [&](int pass) {
        // The worker tries first; each pass after that, the monitor does.
        if (pass == 1) AwaitWorker();
        m_log.failing = pass < 2 ? kFailing[0] : pass < 8 ? kFailing[pass - 2] : "";
        EXPECT_EQ(m_log.subscriptions, pass == 9 ? 1 : 0) << pass;
        if (pass == 9) Deliver({NowTicks(), 7});
    };
    EXPECT_EQ(Measure(), 7U);
    EXPECT_TRUE(m_traces.Has(L"OpenEventSet failed 0x5") && m_traces.Has(L"EvtSubscribe failed 0x5"));
}

TEST_F(BootTimeMonitorTest, WithoutAServiceToWaitForTheMonitorReckonsByItself) {
    test_support::SetSimulatedUser(L"", L"ann");  // who logged on behind Init, and nobody tells of
    m_machine.logonPass = 0;
    for (const bool notifies : {false, true}) {
        m_scm.tick = 20000;
        m_machine.notifies = notifies;
        if (notifies) m_scm.errors[L"manager"] = ERROR_ACCESS_DENIED;
        m_machine.passes = 0;
        EXPECT_EQ(Measure(), 81000U);
        EXPECT_EQ(m_traces.Has(L"WinBootEvent retry"), notifies) << "nothing is heard of it otherwise";
        m_monitor.Stop();
    }
}

}  // namespace
}  // namespace boottime
