#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include <windows.h>

#include "frame/handles.h"

namespace test_support {

struct SimulatedService {
    DWORD state = SERVICE_STOPPED;
    DWORD startType = SERVICE_DEMAND_START;
    bool slow = false;  // a command leads to the pending state only
    bool late = false;  // a command shows only when the service settles
    DWORD target = 0;   // of the last command
};

/// A Service Control Manager in memory with a clock moved by hand. It takes the place of the service
/// functions, of Sleep and of GetTickCount in the test program that is built with it. One at a time; set up
/// before threads start, looked at when they have ended.
class SimulatedScm {
public:
    SimulatedScm() { s_current = this; }
    ~SimulatedScm() { s_current = nullptr; }

    /// What is slow or late arrives.
    void Settle();

    std::map<std::wstring, SimulatedService> services;
    /// What was asked for, but for queries: "open a 24" with the rights, "control a 1" (0 stands for a
    /// start), "type a 4" with the start type. Numbers are hexadecimal.
    std::vector<std::wstring> calls;
    /// By what fails: "manager", "query", "control" or "config", which is the query of the start type.
    std::map<std::wstring, DWORD> errors;
    DWORD ticksPerQuery = 0;  // the clock moves on by this with each status query
    int openHandles = 0;
    std::mutex lock;  // guards all of the above while threads run
    std::atomic<DWORD> tick = 1000000;
    bool sleepTakesTime = true;             // off where the trace's own short sleeps must not move the clock
    std::function<void(DWORD ms)> onSleep;  // on the sleeping thread; the clock has moved on already
    std::function<void()> onQuery;          // before each status query
    static inline SimulatedScm* s_current = nullptr;
};

/// Holds a thread at a place until another thread, in an abort, polls for its end.
class Hold {
public:
    void Reach() {
        SetEvent(m_reached.Get());
        WaitForSingleObject(m_polled.Get(), kPatienceMs);
    }
    /// Told of each sleep, holds a wait for a service. The thread library sleeps too, for other times.
    void OnSleep(DWORD ms) {
        if (ms == 1000) Reach();
        if (ms == 10) SetEvent(m_polled.Get());
    }
    bool IsReached() { return WaitForSingleObject(m_reached.Get(), kPatienceMs) == WAIT_OBJECT_0; }

private:
    static constexpr DWORD kPatienceMs = 10000;
    optimizer::KernelHandle m_reached{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    optimizer::KernelHandle m_polled{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
};

}  // namespace test_support
