// The service control wrapper: every command in every state, and waits at their exact boundaries.
#include "actions/windows_service.h"

#include <thread>

#include <gtest/gtest.h>

#include "tests/support/simulated_log.h"
#include "tests/support/simulated_scm.h"

namespace optimizer {
namespace {

constexpr uint32_t kNoLimit = 0xFFFFFFFF;
constexpr uint32_t kTimeout = ERROR_TIMEOUT;

struct Command {
    uint32_t (CWindowsService::*operation)(const wchar_t*, uint32_t);
    std::wstring open;  // with the rights that it needs
};
const Command kStart = {&CWindowsService::StartServiceW, L"open a 14"};
const Command kStop = {&CWindowsService::StopService, L"open a 24"};
const Command kPause = {&CWindowsService::PauseService, L"open a 44"};
const Command kResume = {&CWindowsService::ResumeService, L"open a 44"};

class WindowsService : public testing::Test {
protected:
    WindowsService() { EXPECT_TRUE(service.Init()); }
    ~WindowsService() override {
        EXPECT_FALSE(service.IsBusy());
        service.Uninit();
        EXPECT_EQ(scm.openHandles, 0);
    }

    test_support::SimulatedScm scm;
    test_support::SimulatedService& a = scm.services[L"a"];
    test_support::TraceRecorder traces;
    CWindowsService service;
};

TEST_F(WindowsService, EachCommandInEachStateAndItsFailures) {
    const struct {
        const Command& command;
        DWORD state;
        const wchar_t* control;  // empty: none is given
        uint32_t result;
    } cases[] = {
        {kStop, SERVICE_STOPPED, L"", 0},
        {kStop, SERVICE_STOP_PENDING, L"", kTimeout},
        {kStop, SERVICE_RUNNING, L"control a 1", 0},
        {kStop, SERVICE_PAUSED, L"control a 1", 0},
        {kStart, SERVICE_RUNNING, L"", 0},
        {kStart, SERVICE_START_PENDING, L"", kTimeout},
        {kStart, SERVICE_STOPPED, L"control a 0", kTimeout},  // started, yet it awaits the stopped state
        {kPause, SERVICE_STOPPED, L"", 0},
        {kPause, SERVICE_PAUSED, L"", 0},
        {kPause, SERVICE_PAUSE_PENDING, L"", kTimeout},
        {kPause, SERVICE_RUNNING, L"control a 2", 0},
        {kResume, SERVICE_STOPPED, L"", 0},
        {kResume, SERVICE_RUNNING, L"", 0},
        {kResume, SERVICE_CONTINUE_PENDING, L"", kTimeout},
        {kResume, SERVICE_PAUSED, L"control a 3", 0},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(&test - cases);
        const auto run = [&](const wchar_t* name) { return (service.*test.command.operation)(name, 10); };
        a.state = test.state;
        scm.errors = {{L"query", 5}};
        EXPECT_EQ(run(L"a"), 5u);
        EXPECT_EQ(run(L"absent"), 1060u);
        scm.errors = {{L"control", 1056}};
        EXPECT_EQ(run(L"a"), *test.control != 0 ? 1056u : test.result);
        scm.errors.clear();
        scm.calls.clear();
        EXPECT_EQ(run(L"a"), test.result);
        EXPECT_EQ(scm.calls.front(), test.command.open);
        EXPECT_EQ(scm.calls.size() > 1 ? scm.calls.back() : L"", test.control);
    }
}

TEST_F(WindowsService, AWaitGoesOnOnlyPastItsDeadline) {
    a.slow = true;
    const struct {
        DWORD tick;
        DWORD ticksPerQuery;  // two queries lie before the test of the deadline, one of them after it was set
        uint32_t limit;
        bool goesOn;
    } cases[] = {
        {1000, 9, 10, false}, {1000, 10, 10, true}, {1000, 11, 10, true},
        {1000, 0, 0, true},   {1000, 0, 1, false},  {0xFFFFFFFA, 0, 10, true},  // the deadline has wrapped
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(&test - cases);
        a.state = SERVICE_RUNNING;
        scm.tick = test.tick;
        scm.ticksPerQuery = test.ticksPerQuery;
        std::vector<DWORD> sleeps;
        scm.onSleep = [&](DWORD ms) {
            sleeps.push_back(ms);
            if (sleeps.size() == 2) a.state = SERVICE_STOPPED;
        };
        EXPECT_EQ(service.StopService(L"a", test.limit), test.goesOn ? 0u : kTimeout);
        EXPECT_EQ(sleeps, std::vector<DWORD>(test.goesOn ? 2 : 0, 1000));
    }
    a.state = SERVICE_STOP_PENDING;
    scm.onSleep = [&](DWORD) { scm.errors[L"query"] = 5; };
    EXPECT_EQ(service.StopService(L"a", kNoLimit), 0u) << "a query that fails in a wait counts as success";
}

TEST_F(WindowsService, AnAbortEndsAWaitWithoutLimitAndStopsNewCommands) {
    a.state = SERVICE_STOP_PENDING;
    scm.services[L"b"].state = SERVICE_RUNNING;
    test_support::Hold hold;
    uint32_t during = 0;
    scm.onSleep = [&](DWORD ms) {
        hold.OnSleep(ms);
        if (ms == 1000) during = service.StopService(L"b", kNoLimit);
    };
    service.AbortOperations();  // with nothing active it leaves no trace behind
    std::thread aborter([&] {
        EXPECT_TRUE(hold.IsReached());
        service.AbortOperations();
    });
    EXPECT_EQ(service.StopService(L"a", kNoLimit), 995u);
    aborter.join();
    EXPECT_EQ(during, 995u);
    EXPECT_EQ(scm.services[L"b"].state, DWORD{SERVICE_RUNNING}) << "no command after the abort";
    scm.onSleep = nullptr;
    EXPECT_EQ(service.StopService(L"b", kNoLimit), 0u) << "the abort is over";
}

}  // namespace
}  // namespace optimizer
