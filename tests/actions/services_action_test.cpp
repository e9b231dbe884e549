// The services action over a service manager in memory; its queue runs by hand.
#include "actions/windows_services_action.h"

#include <thread>

#include <gtest/gtest.h>

#include "actions/hibernate_params.h"
#include "tests/support/fake_host.h"
#include "tests/support/simulated_log.h"
#include "tests/support/simulated_scm.h"

namespace optimizer {
namespace {

using test_support::SimulatedScm;
using enum ServiceStatus;
using Startup = ServiceStartup;

constexpr DWORD kPatienceMs = 10000;

WindowsServicesParams Params(std::vector<ServiceRecord> services) {
    WindowsServicesParams parameters;
    parameters.services = std::move(services);
    return parameters;
}

class WindowsServices : public testing::Test {
protected:
    WindowsServices() {
        scm.services[L"a"] = {.state = SERVICE_RUNNING, .startType = SERVICE_AUTO_START};
        scm.services[L"b"] = {.state = SERVICE_STOPPED, .startType = SERVICE_DEMAND_START};
    }
    ~WindowsServices() override {
        EXPECT_EQ(scm.openHandles, 0);
        EXPECT_EQ(host.queue.liveSerials, 0);
    }
    std::unique_ptr<CWindowsServicesAction> Make(std::vector<ServiceRecord> services) {
        return std::make_unique<CWindowsServicesAction>(Params(std::move(services)), &host);
    }
    static std::vector<ServiceRecord> RevertRecords(CWindowsServicesAction& action) {
        const auto* const record = dynamic_cast<WindowsServicesParams*>(action.GetRevertParameters());
        return record != nullptr ? record->services : std::vector<ServiceRecord>();
    }
    /// State and start type.
    std::pair<DWORD, DWORD> Now(const wchar_t* name) {
        return {scm.services.at(name).state, scm.services.at(name).startType};
    }

    SimulatedScm scm;
    test_support::FakeHost host;
    test_support::TraceRecorder traces;
};

using Pair = std::pair<DWORD, DWORD>;
using Records = std::vector<ServiceRecord>;

TEST_F(WindowsServices, StartChangesAndRevertPutsBack) {
    auto action =
        Make({{L"a", Stopped, Startup::Disabled}, {L"B", Running, Startup::None}, {L"gone", Stopped}});
    EXPECT_EQ(action->Start(), 0u);
    EXPECT_EQ(Now(L"a"), Pair(SERVICE_RUNNING, SERVICE_DISABLED))
        << "the start type at once, the status later";
    EXPECT_EQ(host.queue.Pending(),
              std::vector<std::wstring>(3, L"CWindowsServicesAction_ProcessServicesActionsQueue"));
    host.queue.RunAll();
    EXPECT_EQ(Now(L"a"), Pair(SERVICE_STOPPED, SERVICE_DISABLED));
    EXPECT_EQ(Now(L"b"), Pair(SERVICE_RUNNING, SERVICE_DEMAND_START));
    EXPECT_TRUE(traces.Has(L"GetServiceStatus gone failed"));
    EXPECT_TRUE(traces.Has(L"TransitionService a from 0 to 1 failed"))
        << "a stop that worked gives 0, which ends it";
    const Records found = {{L"a", Running, Startup::Automatic}, {L"B", Stopped, Startup::Manual}, {L"gone"}};
    EXPECT_EQ(RevertRecords(*action), found);

    EXPECT_EQ(action->Start(), 0u);
    EXPECT_EQ(RevertRecords(*action), found) << "noted only once";
    EXPECT_EQ(action->Revert(), 0u);
    host.queue.RunAll();
    EXPECT_EQ(Now(L"a"), Pair(SERVICE_RUNNING, SERVICE_AUTO_START));
    EXPECT_EQ(Now(L"b"), Pair(SERVICE_STOPPED, SERVICE_DEMAND_START));
}

TEST_F(WindowsServices, StepsBetweenStates) {
    const struct {
        ServiceStatus from;
        ServiceStatus to;
        std::vector<std::wstring> calls;
        bool result;  // false where a step gave 0
    } cases[] = {
        {Running, Stopped, {L"control a 1"}, false},
        {Running, Paused, {L"control a 2"}, false},
        {Stopped, Running, {L"start a"}, true},
        {Stopped, Paused, {L"start a", L"control a 2"}, false},
        {Paused, Running, {L"control a 3"}, false},
        {Paused, Stopped, {L"start a"}, false},
        {Running, Running, {}, true},
        {None, Running, {}, true},
        {Running, None, {}, true},
    };
    auto action = Make({});
    for (const auto& test : cases) {
        SCOPED_TRACE(&test - cases);
        scm.services[L"a"].state = test.from == Running   ? SERVICE_RUNNING
                                   : test.from == Stopped ? SERVICE_STOPPED
                                                          : SERVICE_PAUSED;
        // The manager refuses to start what is paused.
        scm.services[L"a"].commandError = test.from == Paused && test.to == Stopped ? 1056 : 0;
        scm.calls.clear();
        EXPECT_EQ(action->TransitionService(L"a", test.from, test.to), test.result);
        std::vector<std::wstring> commands;
        for (const std::wstring& call : scm.Calls()) {
            if (call.rfind(L"open", 0) != 0) commands.push_back(call);
        }
        EXPECT_EQ(commands, test.calls);
    }
}

TEST_F(WindowsServices, WhatTheUserChangedStays) {
    auto action = Make({{L"A", Stopped, Startup::Disabled}, {L"b", None, Startup::None}});
    action->Start();
    host.queue.RunAll();
    EXPECT_EQ(Now(L"b"), Pair(SERVICE_STOPPED, SERVICE_DEMAND_START)) << "no change wanted";
    scm.services[L"a"] = {.state = SERVICE_PAUSED, .startType = SERVICE_DEMAND_START};
    EXPECT_EQ(action->Revert(), 0u);
    host.queue.RunAll();
    EXPECT_EQ(Now(L"a"), Pair(SERVICE_PAUSED, SERVICE_DEMAND_START));
    EXPECT_EQ(RevertRecords(*action)[0], (ServiceRecord{L"A", Paused, Startup::Manual}));
}

TEST_F(WindowsServices, UpdateMovesWhatStaysFreesWhatLeavesAndTakesWhatJoins) {
    scm.services[L"c"] = {.state = SERVICE_RUNNING, .startType = SERVICE_AUTO_START};
    scm.services[L"d"] = scm.services[L"c"];
    auto action = Make({{L"a", Stopped, Startup::Disabled},
                        {L"b", Running, Startup::Automatic},
                        {L"c", Stopped, Startup::Manual}});
    action->Start();
    host.queue.RunAll();
    scm.services[L"a"].startType = SERVICE_AUTO_START;  // moved by the user while the profile is in force
    scm.services[L"c"].state = SERVICE_PAUSED;
    scm.calls.clear();

    WindowsServicesParams next =
        Params({{L"A", Running, Startup::Manual}, {L"d", Stopped, Startup::Disabled}});
    EXPECT_EQ(action->Update(&next), 0u);
    host.queue.RunAll();
    EXPECT_EQ(Now(L"a"), Pair(SERVICE_RUNNING, SERVICE_DEMAND_START));
    EXPECT_EQ(Now(L"b"), Pair(SERVICE_STOPPED, SERVICE_DEMAND_START))
        << "left as the profile set it: restored";
    EXPECT_EQ(Now(L"c"), Pair(SERVICE_PAUSED, SERVICE_AUTO_START))
        << "its status is the user's, its start type not";
    EXPECT_EQ(Now(L"d"), Pair(SERVICE_STOPPED, SERVICE_DISABLED));
    EXPECT_EQ(RevertRecords(*action),
              (Records{{L"a", Running, Startup::Automatic}, {L"d", Running, Startup::Automatic}}));
    EXPECT_TRUE(action->HasSameParameters(&next));

    HibernateParams foreign;
    EXPECT_FALSE(action->HasSameParameters(&foreign));
    EXPECT_EQ(action->Update(&foreign), 87u);
    EXPECT_EQ(action->Update(nullptr), 87u);
    EXPECT_TRUE(action->HasSameParameters(&next));
}

TEST_F(WindowsServices, QueuedChangesAreFinishedWhenTheActionGoes) {
    auto action = Make({{L"a", Stopped, Startup::None}, {L"b", Running, Startup::None}});
    action->Start();
    host.queue.RunAll();
    action->Revert();
    scm.ticksPerQuery = 100;  // a wait that could go on would never end: nobody is left to abort it
    action.reset();
    EXPECT_EQ(Now(L"a").first, static_cast<DWORD>(SERVICE_RUNNING));
    EXPECT_EQ(Now(L"b").first, static_cast<DWORD>(SERVICE_STOPPED));
    EXPECT_TRUE(host.queue.Pending().empty());

    host.queue.postError = 14;  // items that can't be posted leave their changes queued
    action = Make({{L"a", Stopped, Startup::None}});
    action->Start();
    action.reset();
    EXPECT_EQ(Now(L"a").first, static_cast<DWORD>(SERVICE_STOPPED));
    host.queue.postError = 0;

    action = Make({{L"a", Running, Startup::None}});
    action->Start();
    action->Stop();
    action.reset();
    EXPECT_EQ(Now(L"a").first, static_cast<DWORD>(SERVICE_STOPPED)) << "Stop drops what is queued";
}

/// A host whose one serial execution runs on a thread, once the test lets it.
class ThreadedHost final : public IServMain, public IEventQueue, public ISerialExecution {
public:
    void* QueryInterface(const Identifier*) override { return nullptr; }
    IComponentManager* GetComponentManager() override { return nullptr; }
    IPluginLoader* GetPluginLoader() override { return nullptr; }
    IEventQueue* GetEventQueue() override { return this; }

    uint32_t Reserved0() override { return 0; }
    uint32_t Start(uint32_t) override { return 0; }
    uint32_t Stop() override { return 0; }
    uint32_t Post(const wchar_t*, QueueHandle*, EqWorkItem* item, uint64_t, uint64_t, uint64_t) override {
        m_items.push_back(item);
        return 0;
    }
    uint32_t PostTimer(const wchar_t*, QueueHandle*, uint32_t, uint32_t, EqWorkItem*, uint64_t, uint64_t,
                       uint64_t) override {
        return ERROR_NOT_SUPPORTED;
    }
    uint32_t Reserved5() override { return 0; }
    uint32_t Wait(QueueHandle, uint32_t) override { return 0; }
    uint32_t Cancel(QueueHandle) override { return 0; }
    uint32_t CloseItem(QueueHandle) override { return 0; }
    uint32_t Reserved9() override { return 0; }
    uint32_t Reserved10() override { return 0; }
    uint32_t CreateSerialExecution(ISerialExecution** out) override {
        *out = this;
        return 0;
    }
    void DestroySerialExecution(ISerialExecution*) override { Join(); }

    /// Runs the items posted so far.
    void Run() {
        m_thread = std::thread([items = std::exchange(m_items, {})] {
            for (EqWorkItem* const item : items) {
                item->Execute();
                item->Dispose();
            }
        });
    }
    void Join() {
        if (m_thread.joinable()) m_thread.join();
        for (EqWorkItem* const item : std::exchange(m_items, {}))
            item->Dispose();
    }

private:
    std::vector<EqWorkItem*> m_items;
    std::thread m_thread;
};

/// Holds the change in flight at a place until an abort polls for its end.
class Hold {
public:
    void Reach() {
        SetEvent(m_reached.Get());
        WaitForSingleObject(m_polled.Get(), kPatienceMs);
    }
    void OnSleep(DWORD ms) {  // the thread library sleeps too, for other times
        if (ms == 1000) Reach();
        if (ms == 10) SetEvent(m_polled.Get());
    }
    bool IsReached() { return WaitForSingleObject(m_reached.Get(), kPatienceMs) == WAIT_OBJECT_0; }

private:
    KernelHandle m_reached{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    KernelHandle m_polled{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
};

TEST_F(WindowsServices, StopEndsTheWaitInFlightAndDropsTheRest) {
    ThreadedHost threaded;
    Hold hold;
    scm.services[L"a"].slow = true;
    scm.ticksPerQuery = 100;  // past the deadline: the wait goes on until it is aborted
    scm.onSleep = [&](DWORD ms) { hold.OnSleep(ms); };
    CWindowsServicesAction action(Params({{L"a", Stopped}, {L"b", Running}}), &threaded);
    action.Start();
    threaded.Run();
    ASSERT_TRUE(hold.IsReached());
    EXPECT_EQ(action.Stop(), 0u);
    threaded.Join();
    EXPECT_EQ(Now(L"a").first, static_cast<DWORD>(SERVICE_STOP_PENDING));
    EXPECT_EQ(Now(L"b").first, static_cast<DWORD>(SERVICE_STOPPED));
}

TEST_F(WindowsServices, TheChangeInFlightIsNotLostWhenTheActionGoes) {
    for (const bool inWait : {true, false}) {
        SCOPED_TRACE(inWait);
        ThreadedHost threaded;
        Hold hold;
        scm.services[L"a"].state = SERVICE_STOPPED;
        scm.services[L"b"].state = SERVICE_STOPPED;
        scm.ticksPerQuery = 100;
        auto action =
            std::make_unique<CWindowsServicesAction>(Params({{L"a", Running}, {L"b", Running}}), &threaded);
        action->Start();
        scm.onSleep = [&](DWORD ms) { hold.OnSleep(ms); };
        // Either in its wait, or before its command, which the abort then keeps from being given.
        if (!inWait) scm.onQuery = [&](const std::wstring&) { hold.Reach(); };
        threaded.Run();
        ASSERT_TRUE(hold.IsReached());
        action.reset();
        EXPECT_EQ(Now(L"a").first, static_cast<DWORD>(SERVICE_RUNNING));
        EXPECT_EQ(Now(L"b").first, static_cast<DWORD>(SERVICE_RUNNING));
    }
}

TEST_F(WindowsServices, WithoutItsPartsItChangesNothing) {
    const auto start = [&](const wchar_t* trace) {
        test_support::TraceRecorder fresh;
        auto action = Make({{L"a", Stopped, Startup::Disabled}});
        EXPECT_TRUE(fresh.Has(trace));
        EXPECT_TRUE(fresh.Has(L"Init failed"));
        EXPECT_EQ(action->Start(), 0u);
        EXPECT_EQ(action->GetRevertParameters(), nullptr);
        EXPECT_EQ(action->Revert(), 0u);
        WindowsServicesParams saved = Params({{L"a", Stopped, Startup::Disabled}});
        HibernateParams foreign;
        EXPECT_EQ(action->SetRevertParameters(nullptr), 87u);
        EXPECT_EQ(action->SetRevertParameters(&foreign), 87u);
        EXPECT_EQ(action->SetRevertParameters(&saved), 0u);
        EXPECT_EQ(action->Revert(), 31u);
    };
    host.hasQueue = false;
    start(L"EventQueue is null!");
    host.hasQueue = true;
    host.queue.refuseSerial = true;
    start(L"Could not create serial execution!");
    scm.managerError = 5;
    start(L"OpenSCManager failed 0x5");
    EXPECT_EQ(Now(L"a"), Pair(SERVICE_RUNNING, SERVICE_AUTO_START));
    scm.managerError = 0;
    CWindowsServicesAction orphan(Params({}), nullptr);
    EXPECT_TRUE(traces.Has(L"IServMain is null!"));
}

TEST_F(WindowsServices, JsonReadsWhatItWritesAndSkipsWhatItCannotUse) {
    picojson::value json;
    ASSERT_EQ(picojson::parse(
                  json, std::string(R"([{"name": "Tele\u00e9", "status": "PAUSED", "startup": "DISABLED"}, 7,
        {"status": "RUNNING"}, {"name": ""}, {"name": 4}, {"name": "x", "status": "paused", "startup": 2}])")),
              "");
    WindowsServicesParams read;
    read.FromJson(&json);
    EXPECT_EQ(read.services,
              (Records{{L"Tele\u00e9", Paused, Startup::Disabled}, {L"x", None, Startup::None}}));
    EXPECT_TRUE(traces.Has(L"service without a name: {\"status\":\"RUNNING\"}"));

    read.ToJson(&json);
    WindowsServicesParams again;
    again.FromJson(&json);
    EXPECT_EQ(again, read);
    json = picojson::value(picojson::object());
    again.FromJson(&json);
    EXPECT_EQ(again, read) << "not an array: left as it was";
}

}  // namespace
}  // namespace optimizer
