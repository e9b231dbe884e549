// The notes of the services action: when they are taken, what they learn, and the way back to them.
#include <algorithm>
#include <functional>

#include "actions/hibernate_params.h"
#include "tests/actions/services_fixture.h"

namespace optimizer {
namespace {

TEST_F(WindowsServices, NotesBeforeItChangesAndLeavesAloneWhatItCannotNote) {
    scm.errors[L"query"] = 5;
    scm.services[L"b"].startType = SERVICE_BOOT_START;
    auto action = Make({{L"a", Stopped, Startup::Disabled}, {L"gone", Stopped, Startup::Disabled}});
    EXPECT_EQ(action->Note(nullptr), 0U);
    scm.errors[L"query"] = 0;
    WindowsServicesParams next = Params({{L"B", Running, Startup::Disabled}, {L"A"}});
    EXPECT_EQ(action->Note(&next), 0U);
    const Records noted = {{L"a", None, Startup::Automatic}, {L"gone"}, {L"B", Stopped, Startup::None}};
    EXPECT_EQ(RevertRecords(*action), noted);
    EXPECT_EQ(Changes(), std::vector<std::wstring>());

    action->Start();
    host.queue.RunAll();
    EXPECT_EQ(Now(L"a"), Pair(SERVICE_RUNNING, SERVICE_DISABLED));
    scm.services[L"a"].startType = SERVICE_DEMAND_START;
    EXPECT_EQ(action->Note(&next), 0U);
    EXPECT_EQ(RevertRecords(*action)[0].startup, Startup::Manual)
        << "somebody's wish, before it is overwritten";
    EXPECT_EQ(action->Update(&next), 0U);
    host.queue.RunAll();
    EXPECT_EQ(Now(L"b"), Pair(SERVICE_RUNNING, SERVICE_BOOT_START));
    HibernateParams foreign;
    EXPECT_EQ(action->Note(&foreign), 87U);
}

TEST_F(WindowsServices, OnlyWhatSomebodyElseSetIsKept) {
    using Do = std::function<void()>;
    bool settles = true;
    test_support::SimulatedService& a = scm.services[L"a"];
    const Do run = [this] { host.queue.RunAll(); };
    const Do overtake = [] {};
    const Do runInVain = [&] {
        a.slow = true;
        settles = false;
        run();
    };
    const Do runLate = [&] {
        a.late = true;
        run();
    };
    const Do changeByHand = [&] {
        run();
        a = {.state = SERVICE_PAUSED, .startType = SERVICE_DEMAND_START};
    };
    const Pair found(SERVICE_RUNNING, SERVICE_AUTO_START);
    const Pair byHand(SERVICE_PAUSED, SERVICE_DEMAND_START);
    const struct {
        const char* what;
        Records services[3];  // of one profile after the other
        Do after[3];
        Pair back;
        DWORD handedOverAt = 0;  // the start type that an earlier run left behind
    } cases[] = {
        {"left alone by the next profile",
         {{{L"a", Stopped, Startup::Disabled}}, {{L"a"}}, {{L"A"}}},
         {run, run, run},
         found},
        {"left alone, and changed by hand",
         {{{L"a", Stopped, Startup::Disabled}}, {{L"a"}}},
         {run, changeByHand},
         byHand},
        {"changed by hand before the next profile",
         {{{L"a", Stopped, Startup::Disabled}}, {{L"a", Running, Startup::Automatic}}},
         {changeByHand, run},
         byHand},
        {"changed by hand, and left by the next profile",
         {{{L"a", Stopped, Startup::Disabled}}, {{L"b", Running}}},
         {changeByHand, run},
         byHand},
        {"overtaken in the queue",
         {{{L"a", Stopped, Startup::Manual}}, {{L"a", Running, Startup::Disabled}}, {{L"a", Paused}}},
         {run, overtake, overtake},
         found},
        {"overtaken under way",
         {{{L"a", Stopped, Startup::Manual}}, {{L"a", Paused}}, {{L"a", Running}}},
         {runInVain, overtake, overtake},
         found},
        {"arrived where an overtaken command led",
         {{{L"a", Stopped, Startup::Manual}}, {{L"a", Paused}}},
         {runInVain,
          [&] {
              run();
              scm.Settle();
          }},
         found},
        {"a command that doesn't show yet", {{{L"a", Stopped}}}, {runLate}, found},
        {"handed over, and left alone", {{{L"a"}}}, {run}, found, SERVICE_DISABLED},
        {"handed over, and changed by hand", {{{L"a"}}}, {changeByHand}, byHand, SERVICE_DISABLED},
    };
    scm.onSleep = [&](DWORD ms) {
        if (ms == 100 && settles) scm.Settle();
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.what);
        a = {.state = SERVICE_RUNNING, .startType = SERVICE_AUTO_START};
        auto action = Make(test.services[0]);
        if (test.handedOverAt != 0) {
            a = {.state = SERVICE_STOPPED, .startType = test.handedOverAt};
            WindowsServicesParams saved = Params({{L"a", Running, Startup::Automatic}});
            EXPECT_EQ(action->SetRevertParameters(&saved), 0U);
        }
        EXPECT_EQ(action->Note(nullptr), 0U);
        action->Start();
        for (size_t i = 0; i < 3 && !test.services[i].empty(); ++i) {
            if (i > 0) Move(*action, test.services[i]);
            test.after[i]();
        }
        settles = true;
        EXPECT_EQ(action->Revert(), 0U);
        EXPECT_EQ(action->FinishRevert(), 0U);
        EXPECT_EQ(Now(L"a"), test.back);
        action.reset();
        scm.Settle();
        EXPECT_EQ(Now(L"a"), test.back);
    }
}

TEST_F(WindowsServices, TheWayBackGoesFromWhereverTheMachineIs) {
    const struct {
        ServiceRecord noted;
        Pair from;
        std::vector<std::wstring> changes;
        uint32_t result;
    } cases[] = {
        {{L"a", Stopped, Startup::None}, {SERVICE_PAUSED, SERVICE_AUTO_START}, {L"control a 1"}, 0},
        {{L"a", Paused, Startup::None},
         {SERVICE_STOPPED, SERVICE_AUTO_START},
         {L"control a 0", L"control a 2"},
         0},
        {{L"a", Running, Startup::Automatic},
         {SERVICE_PAUSED, SERVICE_DISABLED},
         {L"type a 2", L"control a 3"},
         0},
        {{L"a", Running, Startup::Disabled},
         {SERVICE_STOPPED, SERVICE_AUTO_START},
         {L"type a 4", L"type a 3", L"control a 0", L"type a 4"},
         0},
        {{L"a", Paused, Startup::Disabled},
         {SERVICE_STOPPED, SERVICE_DISABLED},
         {L"type a 3", L"control a 0", L"control a 2", L"type a 4"},
         0},
        {{L"a", None, Startup::None}, {SERVICE_PAUSED, SERVICE_DISABLED}, {}, 0},
        // What isn't noted isn't changed, also for a start.
        {{L"a", Running, Startup::None}, {SERVICE_STOPPED, SERVICE_DISABLED}, {L"control a 0"}, 1058},
        {{L"gone", Running, Startup::Automatic}, {SERVICE_STOPPED, SERVICE_DISABLED}, {}, 0},
    };
    scm.onSleep = [&](DWORD ms) {
        if (ms == 100) scm.Settle();
    };
    for (const bool slow : {false, true}) {
        for (const auto& test : cases) {
            SCOPED_TRACE(&test - cases);
            scm.services[L"a"] = {.state = test.from.first, .startType = test.from.second, .slow = slow};
            scm.calls.clear();
            EXPECT_EQ(Make({test.noted, {L"b", Stopped, Startup::Manual}})->PutBack(), test.result);
            std::vector<std::wstring> changes = Changes();
            // What is refused is tried again a few times.
            changes.erase(std::unique(changes.begin(), changes.end()), changes.end());
            EXPECT_EQ(changes, test.changes);
        }
    }
    EXPECT_TRUE(traces.Has(L"Service a could not be brought back: 0x422"));
}

TEST_F(WindowsServices, AWayBackThatTakesForeverEndsWithItsPatienceOrAStop) {
    scm.services[L"a"].state = SERVICE_STOP_PENDING;
    scm.services[L"c"] = {.state = SERVICE_PAUSED};
    auto action = Make({{L"a", Running}, {L"c", Stopped}});
    const DWORD startTick = scm.tick;
    EXPECT_EQ(action->PutBack(), DWORD{ERROR_TIMEOUT});
    EXPECT_EQ(State(L"c"), DWORD{SERVICE_STOPPED}) << "whatever becomes of the others";
    EXPECT_NEAR(scm.tick - startTick, 30000, 200);

    scm.onSleep = [&](DWORD) { action->Cancel(); };
    EXPECT_EQ(action->PutBack(), DWORD{ERROR_CANCELLED});
    scm.onSleep = [&](DWORD) { scm.services[L"a"].state = SERVICE_RUNNING; };
    EXPECT_EQ(action->FinishRevert(), 0U) << "a stop ends one way back only";
}

/// Keeps what the note was each time that it became smaller.
struct ShrunkNotes final : INoteObserver {
    void OnNoteShrunk(IOptimizerAction* action) override {
        notes.push_back(dynamic_cast<WindowsServicesParams&>(*action->GetRevertParameters()).services);
    }
    std::vector<Records> notes;
};

TEST_F(WindowsServices, AServiceThatLeavesKeepsItsNoteUntilItIsBack) {
    const ServiceRecord foundA = {L"a", Running, Startup::Automatic};
    const Records noted = {foundA, {L"b", Stopped, Startup::Manual}};
    for (const bool handedOver : {false, true}) {
        SCOPED_TRACE(handedOver);
        ShrunkNotes shrunk;
        auto action = Make({{L"b", Running}});
        action->ObserveNote(&shrunk);
        scm.services[L"a"] = {.state = SERVICE_RUNNING, .startType = SERVICE_AUTO_START};
        scm.services[L"b"] = {};
        if (handedOver) {
            scm.services[L"a"] = {.state = SERVICE_STOPPED, .startType = SERVICE_DISABLED};
            WindowsServicesParams saved = Params({foundA});
            EXPECT_EQ(action->SetRevertParameters(&saved), 0U);
            action->Start();
        } else {
            Move(*action, {{L"a", Stopped, Startup::Disabled}});
            host.queue.RunAll();
            Move(*action, {{L"b", Running}});
        }
        EXPECT_EQ(Now(L"a"), Pair(SERVICE_STOPPED, SERVICE_AUTO_START)) << "the start type at once";
        Move(*action, {{L"b", Stopped}});  // overtakes its way back
        EXPECT_EQ(RevertRecords(*action), noted);

        WindowsServicesParams again = Params({{L"b", Stopped}, {L"A", Paused}});
        scm.services[L"a"].slow = true;
        scm.onSleep = [&](DWORD) {
            EXPECT_EQ(action->Note(&again), 0U) << "while it is half-way";
            scm.Settle();
        };
        host.queue.RunAll();
        EXPECT_EQ(RevertRecords(*action), noted);
        EXPECT_EQ(action->Update(&again), 0U);
        host.queue.RunAll();
        EXPECT_EQ(State(L"a"), DWORD{SERVICE_PAUSED});

        Move(*action, {{L"b", Running}});
        EXPECT_TRUE(shrunk.notes.empty());
        scm.onSleep = [&](DWORD) {
            EXPECT_EQ(RevertRecords(*action), noted);
            scm.Settle();
        };
        host.queue.RunAll();
        scm.onSleep = nullptr;
        EXPECT_EQ(Now(L"a"), Pair(SERVICE_RUNNING, SERVICE_AUTO_START));
        EXPECT_EQ(shrunk.notes, std::vector<Records>{{noted[1]}});
    }
}

}  // namespace
}  // namespace optimizer
