// The service control wrapper: every command in every state, and waits at their exact boundaries.
#include "actions/windows_service.h"

#include <algorithm>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/simulated_log.h"
#include "tests/support/simulated_scm.h"

namespace optimizer {
namespace {

using test_support::SimulatedScm;
using testing::ElementsAre;

using Operation = uint32_t (CWindowsService::*)(const wchar_t*, uint32_t);
constexpr uint32_t kNoLimit = 0xFFFFFFFF;
constexpr DWORD kPatienceMs = 10000;

class WindowsService : public testing::Test {
protected:
    WindowsService() {
        EXPECT_TRUE(service.Init());
        scm.services[L"a"];
        scm.calls.clear();
    }
    ~WindowsService() override {
        EXPECT_FALSE(service.IsBusy());
        service.Uninit();
        EXPECT_EQ(scm.openHandles, 0);
    }

    SimulatedScm scm;
    test_support::TraceRecorder traces;
    CWindowsService service;
};

struct CommandCase {
    Operation operation;
    DWORD state;
    const wchar_t* access;
    const wchar_t* command;  // null: none is given
    DWORD after;
    uint32_t result;
    const wchar_t* trace;
};

TEST_F(WindowsService, EachCommandInEachState) {
    constexpr Operation kStart = &CWindowsService::StartServiceW;
    constexpr Operation kStop = &CWindowsService::StopService;
    constexpr Operation kPause = &CWindowsService::PauseService;
    constexpr Operation kResume = &CWindowsService::ResumeService;
    const CommandCase cases[] = {
        {kStop, SERVICE_STOPPED, L"24", nullptr, SERVICE_STOPPED, 0, L"Service is already stopped"},
        {kStop, SERVICE_STOP_PENDING, L"24", nullptr, SERVICE_STOP_PENDING, ERROR_TIMEOUT,
         L"SERVICE_STOP_PENDING"},
        {kStop, SERVICE_RUNNING, L"24", L"control a 1", SERVICE_STOPPED, 0, L"ret = 0x0"},
        {kStop, SERVICE_PAUSED, L"24", L"control a 1", SERVICE_STOPPED, 0, L"ret = 0x0"},
        {kStart, SERVICE_RUNNING, L"14", nullptr, SERVICE_RUNNING, 0, L"Already running."},
        {kStart, SERVICE_START_PENDING, L"14", nullptr, SERVICE_START_PENDING, ERROR_TIMEOUT,
         L"SERVICE_START_PENDING"},
        // Started, yet it awaits the stopped state.
        {kStart, SERVICE_STOPPED, L"14", L"start a", SERVICE_RUNNING, ERROR_TIMEOUT, L"ret = 0x5b4"},
        {kPause, SERVICE_STOPPED, L"44", nullptr, SERVICE_STOPPED, 0, L"Service is already stopped"},
        {kPause, SERVICE_PAUSED, L"44", nullptr, SERVICE_PAUSED, 0, L"Service is already paused"},
        {kPause, SERVICE_PAUSE_PENDING, L"44", nullptr, SERVICE_PAUSE_PENDING, ERROR_TIMEOUT,
         L"SERVICE_PAUSE_PENDING"},
        {kPause, SERVICE_RUNNING, L"44", L"control a 2", SERVICE_PAUSED, 0, L"ret = 0x0"},
        {kResume, SERVICE_STOPPED, L"44", nullptr, SERVICE_STOPPED, 0, L"Service is already stopped"},
        {kResume, SERVICE_RUNNING, L"44", nullptr, SERVICE_RUNNING, 0, L"Service is already running"},
        {kResume, SERVICE_CONTINUE_PENDING, L"44", nullptr, SERVICE_CONTINUE_PENDING, ERROR_TIMEOUT,
         L"SERVICE_CONTINUE_PENDING"},
        {kResume, SERVICE_PAUSED, L"44", L"control a 3", SERVICE_RUNNING, 0, L"ret = 0x0"},
    };
    for (const CommandCase& test : cases) {
        SCOPED_TRACE(&test - cases);
        scm.services[L"a"].state = test.state;
        scm.calls.clear();
        test_support::TraceRecorder fresh;
        EXPECT_EQ((service.*test.operation)(L"a", 10), test.result);
        EXPECT_EQ(scm.State(L"a"), test.after);
        std::vector<std::wstring> expected = {std::wstring(L"open a ") + test.access};
        if (test.command != nullptr) expected.emplace_back(test.command);
        EXPECT_EQ(scm.Calls(), expected);
        EXPECT_TRUE(fresh.Has(L"Service = a"));
        EXPECT_TRUE(fresh.Has(test.trace));
        EXPECT_FALSE(service.IsBusy());
    }
}

TEST_F(WindowsService, FailuresAreReportedAndLeaveNothingBehind) {
    const struct {
        Operation operation;
        DWORD state;
        const wchar_t* query;
        const wchar_t* command;
    } cases[] = {
        {&CWindowsService::StopService, SERVICE_RUNNING, L"QueryServiceStatus failed 0x5",
         L"ControlService SERVICE_CONTROL_STOP failed 0x420"},
        {&CWindowsService::StartServiceW, SERVICE_STOPPED, L"QueryServiceStatusEx failed 0x5",
         L"StartService failed 0x420"},
        {&CWindowsService::PauseService, SERVICE_RUNNING, L"QueryServiceStatus failed 0x5",
         L"ControlService SERVICE_CONTROL_PAUSE failed 0x420"},
        {&CWindowsService::ResumeService, SERVICE_PAUSED, L"QueryServiceStatus failed 0x5",
         L"ControlService SERVICE_CONTROL_CONTINUE failed 0x420"},
    };
    for (const auto& test : cases) {
        test_support::TraceRecorder fresh;
        auto& simulated = scm.services[L"a"];
        simulated.state = test.state;
        EXPECT_EQ((service.*test.operation)(nullptr, 10), 87u);
        EXPECT_EQ((service.*test.operation)(L"absent", 10), 1060u);
        EXPECT_TRUE(fresh.Has(L"OpenService failed 0x424"));
        simulated.queryError = 5;
        EXPECT_EQ((service.*test.operation)(L"a", 10), 5u);
        EXPECT_TRUE(fresh.Has(test.query));
        simulated.queryError = 0;
        simulated.commandError = 1056;
        EXPECT_EQ((service.*test.operation)(L"a", 10), 1056u);
        EXPECT_TRUE(fresh.Has(test.command));
        simulated.commandError = 0;
        EXPECT_FALSE(service.IsBusy());
    }
    uint32_t state = 0;
    EXPECT_EQ(service.GetServiceStatus(nullptr, &state), 87u);
    scm.services[L"a"].queryError = 6;
    EXPECT_EQ(service.GetServiceStatus(L"a", &state), 6u);
    EXPECT_FALSE(service.IsBusy());

    scm.managerError = 5;
    CWindowsService closed;
    EXPECT_FALSE(closed.Init());
    EXPECT_TRUE(traces.Has(L"OpenSCManager failed 0x5"));
}

TEST_F(WindowsService, AWaitGoesOnOnlyPastItsDeadline) {
    auto& simulated = scm.services[L"a"];
    simulated.slow = true;
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
        simulated.state = SERVICE_RUNNING;
        scm.tick = test.tick;
        scm.ticksPerQuery = test.ticksPerQuery;
        std::vector<DWORD> sleeps;
        scm.onSleep = [&](DWORD ms) {
            sleeps.push_back(ms);
            if (sleeps.size() == 2) simulated.state = SERVICE_STOPPED;
        };
        EXPECT_EQ(service.StopService(L"a", test.limit), test.goesOn ? 0u : 1460u);
        EXPECT_EQ(sleeps, test.goesOn ? std::vector<DWORD>(2, 1000) : std::vector<DWORD>());
    }
    scm.ticksPerQuery = 0;
    simulated.state = SERVICE_STOP_PENDING;
    scm.onSleep = [&](DWORD) { simulated.queryError = 5; };
    EXPECT_EQ(service.StopService(L"a", kNoLimit), 0u)
        << "a query that fails during a wait counts as success";
}

TEST_F(WindowsService, AnAbortEndsAWaitWithoutLimitAndStopsNewCommands) {
    scm.services[L"a"].state = SERVICE_STOP_PENDING;
    scm.services[L"b"].state = SERVICE_RUNNING;
    const KernelHandle waiting(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const KernelHandle polling(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    uint32_t during = 0;
    scm.onSleep = [&](DWORD ms) {  // the thread library sleeps too, for other times
        if (ms == 10) SetEvent(polling.Get());
        if (ms != 1000) return;
        SetEvent(waiting.Get());
        if (WaitForSingleObject(polling.Get(), kPatienceMs) == WAIT_OBJECT_0) {
            during = service.StopService(L"b", kNoLimit);
        }
    };
    service.AbortOperations();  // with nothing active it leaves no trace behind
    std::thread aborter([&] {
        WaitForSingleObject(waiting.Get(), kPatienceMs);
        service.AbortOperations();
    });
    EXPECT_EQ(service.StopService(L"a", kNoLimit), 995u);
    aborter.join();
    EXPECT_EQ(during, 995u);
    EXPECT_EQ(scm.State(L"b"), static_cast<DWORD>(SERVICE_RUNNING)) << "no command after the abort";
    scm.onSleep = nullptr;
    EXPECT_EQ(service.StopService(L"b", kNoLimit), 0u) << "the abort is over";
}

TEST_F(WindowsService, ReadsStatesAndStartTypes) {
    auto& simulated = scm.services[L"a"];
    simulated.state = SERVICE_PAUSED;
    simulated.startType = SERVICE_DISABLED;
    uint32_t value = 0;
    EXPECT_EQ(service.GetServiceStatus(L"a", &value), 0u);
    EXPECT_EQ(value, static_cast<uint32_t>(SERVICE_PAUSED));
    EXPECT_EQ(service.GetStartup(L"a", &value), 0u);
    EXPECT_EQ(value, static_cast<uint32_t>(SERVICE_DISABLED));
    EXPECT_EQ(service.SetStartup(L"a", SERVICE_AUTO_START), 0u);
    EXPECT_EQ(simulated.startType, static_cast<DWORD>(SERVICE_AUTO_START));
    EXPECT_THAT(scm.Calls(), ElementsAre(L"open a 44", L"open a 1", L"open a 2", L"startup a 2"));

    simulated.configError = 5;
    simulated.changeError = 13;
    EXPECT_EQ(service.GetStartup(L"a", &value), 5u);
    EXPECT_EQ(service.SetStartup(L"a", SERVICE_AUTO_START), 13u);
    EXPECT_EQ(service.GetStartup(L"absent", &value), 1060u);
    EXPECT_TRUE(traces.Has(L"OpenService absent failed 0x424"));
}

}  // namespace
}  // namespace optimizer
