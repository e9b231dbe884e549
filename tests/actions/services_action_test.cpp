// The services action over a service manager in memory, on a queue that runs by hand or on the host's own.
#include "actions/hibernate_params.h"
#include "framework/event_queue.h"
#include "tests/actions/services_fixture.h"

namespace optimizer {
namespace {

TEST_F(WindowsServices, StartChangesAndRevertPutsBack) {
    auto action =
        Make({{L"a", Stopped, Startup::Disabled}, {L"B", Running, Startup::None}, {L"gone", Stopped}});
    EXPECT_EQ(action->Start(), 0u);
    EXPECT_EQ(Now(L"a"), Pair(SERVICE_RUNNING, SERVICE_DISABLED)) << "the start type at once";
    EXPECT_EQ(host.queue.RunAll(), 3u);
    EXPECT_EQ(Now(L"a"), Pair(SERVICE_STOPPED, SERVICE_DISABLED));
    EXPECT_EQ(Now(L"b"), Pair(SERVICE_RUNNING, SERVICE_DEMAND_START));
    EXPECT_TRUE(traces.Has(L"GetServiceStatus gone failed"));
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
        std::vector<std::wstring> controls;
        bool result;  // false where a step gave 0
    } cases[] = {
        {Running, Stopped, {L"control a 1"}, false},
        {Running, Paused, {L"control a 2"}, false},
        {Stopped, Running, {L"control a 0"}, true},
        {Stopped, Paused, {L"control a 0", L"control a 2"}, false},
        {Paused, Running, {L"control a 3"}, false},
        {Paused, Stopped, {L"control a 0"}, false},
        {Running, Running, {}, true},
        {None, Running, {}, true},
        {Running, None, {}, true},
    };
    constexpr DWORD kStates[] = {SERVICE_RUNNING, SERVICE_STOPPED, SERVICE_PAUSED, SERVICE_PAUSED};
    auto action = Make({});
    for (const auto& test : cases) {
        SCOPED_TRACE(&test - cases);
        scm.services[L"a"].state = kStates[static_cast<int>(test.from)];
        scm.calls.clear();
        EXPECT_EQ(action->TransitionService(L"a", test.from, test.to), test.result);
        EXPECT_EQ(Changes(), test.controls);
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
    scm.services[L"c"] = scm.services[L"d"] = scm.services[L"a"];
    auto action = Make({{L"a", Stopped, Startup::Disabled},
                        {L"b", Running, Startup::Automatic},
                        {L"c", Stopped, Startup::Manual}});
    action->Start();
    host.queue.RunAll();
    scm.services[L"a"].startType = SERVICE_AUTO_START;  // moved by the user while the profile is in force
    scm.services[L"c"].state = SERVICE_PAUSED;

    WindowsServicesParams next =
        Params({{L"A", Running, Startup::Manual}, {L"d", Stopped, Startup::Disabled}});
    EXPECT_EQ(action->Update(&next), 0u);
    host.queue.RunAll();
    EXPECT_EQ(Now(L"a"), Pair(SERVICE_RUNNING, SERVICE_DEMAND_START));
    EXPECT_EQ(Now(L"b"), Pair(SERVICE_STOPPED, SERVICE_DEMAND_START)) << "restored, since untouched";
    EXPECT_EQ(Now(L"c"), Pair(SERVICE_PAUSED, SERVICE_AUTO_START)) << "only its status is the user's";
    EXPECT_EQ(Now(L"d"), Pair(SERVICE_STOPPED, SERVICE_DISABLED));
    EXPECT_EQ(RevertRecords(*action),
              (Records{{L"a", Running, Startup::Automatic}, {L"d", Running, Startup::Automatic}}));

    HibernateParams foreign;
    EXPECT_EQ(action->Update(&foreign), 87u);
    EXPECT_TRUE(action->HasSameParameters(&next));
    EXPECT_FALSE(action->HasSameParameters(&foreign));
}

TEST_F(WindowsServices, QueuedChangesAreFinishedWhenTheActionGoes) {
    auto action = Make({{L"a", Stopped, Startup::None}, {L"b", Paused, Startup::None}});
    action->Start();
    host.queue.RunAll();
    EXPECT_EQ(State(L"b"), DWORD{SERVICE_PAUSED});
    action->Revert();
    scm.ticksPerQuery = 100;  // a wait that could go on would never end: nobody is left to abort it
    action.reset();
    EXPECT_EQ(State(L"a"), DWORD{SERVICE_RUNNING});
    EXPECT_EQ(State(L"b"), DWORD{SERVICE_STOPPED});

    host.queue.postError = 14;  // items that can't be posted leave their changes queued
    action = Make({{L"a", Stopped, Startup::None}});
    action->Start();
    action.reset();
    EXPECT_EQ(State(L"a"), DWORD{SERVICE_STOPPED});

    action = Make({{L"a", Running, Startup::None}});
    action->Start();
    action->Stop();
    action.reset();
    EXPECT_EQ(State(L"a"), DWORD{SERVICE_STOPPED}) << "Stop drops what is queued";
}

/// A host with a real queue. What is posted runs once the test starts it.
class ThreadedHost final : public IServMain {
public:
    void* QueryInterface(const Identifier*) override { return nullptr; }
    IComponentManager* GetComponentManager() override { return nullptr; }
    IPluginLoader* GetPluginLoader() override { return nullptr; }
    IEventQueue* GetEventQueue() override { return &queue; }

    host::CEventQueue queue;
};

TEST_F(WindowsServices, StopEndsTheWaitInFlightAndDropsTheRest) {
    ThreadedHost threaded;
    test_support::Hold hold;
    scm.services[L"a"].slow = true;
    scm.ticksPerQuery = 100;  // past the deadline: the wait goes on until it is aborted
    scm.onSleep = [&](DWORD ms) { hold.OnSleep(ms); };
    auto action = Make({{L"a", Stopped}, {L"b", Running}}, &threaded);
    action->Start();
    ASSERT_EQ(threaded.queue.Start(1), 0u);
    ASSERT_TRUE(hold.IsReached());
    EXPECT_EQ(action->Stop(), 0u);
    action.reset();
    EXPECT_EQ(State(L"a"), DWORD{SERVICE_STOP_PENDING});
    EXPECT_EQ(State(L"b"), DWORD{SERVICE_STOPPED});
}

TEST_F(WindowsServices, TheChangeInFlightIsNotLostWhenTheActionGoes) {
    for (const bool inWait : {true, false}) {
        SCOPED_TRACE(inWait);
        ThreadedHost threaded;
        test_support::Hold hold;
        scm.services[L"a"].state = scm.services[L"b"].state = SERVICE_STOPPED;
        scm.ticksPerQuery = 100;
        auto action = Make({{L"a", Running}, {L"b", Running}}, &threaded);
        action->Start();
        scm.onSleep = [&](DWORD ms) { hold.OnSleep(ms); };
        // Either in its wait, or before its command, which the abort then keeps from being given.
        if (!inWait) scm.onQuery = [&] { hold.Reach(); };
        ASSERT_EQ(threaded.queue.Start(1), 0u);
        ASSERT_TRUE(hold.IsReached());
        action.reset();
        EXPECT_EQ(State(L"a"), DWORD{SERVICE_RUNNING});
        EXPECT_EQ(State(L"b"), DWORD{SERVICE_RUNNING});
    }
}

TEST_F(WindowsServices, WithoutItsPartsItChangesNothing) {
    const auto expectNothing = [&] {
        auto action = Make({{L"a", Stopped, Startup::Disabled}});
        EXPECT_EQ(action->Start() + action->Revert(), 0u);
        EXPECT_NE(action->PutBack(), 0U);
        WindowsServicesParams saved = Params({{L"a", Stopped, Startup::Disabled}});
        EXPECT_EQ(action->SetRevertParameters(&saved), 0u);
        EXPECT_EQ(action->Revert(), 31u);
        EXPECT_EQ(action->FinishRevert(), 31U);
        EXPECT_EQ(action->Note(nullptr), 31U);
    };
    host.hasQueue = false;
    expectNothing();
    host.hasQueue = host.queue.refuseSerial = true;
    expectNothing();
    scm.errors[L"manager"] = 5;
    expectNothing();
    EXPECT_EQ(Now(L"a"), Pair(SERVICE_RUNNING, SERVICE_AUTO_START));
}

}  // namespace
}  // namespace optimizer
