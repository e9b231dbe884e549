#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include <windows.h>

namespace test_support {

struct NameLess {
    bool operator()(const std::wstring& a, const std::wstring& b) const {
        return _wcsicmp(a.c_str(), b.c_str()) < 0;
    }
};

struct SimulatedService {
    DWORD state = SERVICE_STOPPED;
    DWORD startType = SERVICE_DEMAND_START;
    DWORD queryError = 0;    // of QueryServiceStatus
    DWORD commandError = 0;  // of ControlService and StartServiceW
    DWORD configError = 0;   // of QueryServiceConfigW with a null buffer; 0 stands for 122
    DWORD changeError = 0;   // of ChangeServiceConfigW
    bool slow = false;       // a command leads to the pending state only
};

/// A Service Control Manager in memory with a clock moved by hand. It takes the place of the service
/// functions, of Sleep and of GetTickCount in the test program that is built with it. One at a time; set up
/// before threads start.
class SimulatedScm {
public:
    SimulatedScm();
    ~SimulatedScm();
    SimulatedScm(const SimulatedScm&) = delete;
    SimulatedScm& operator=(const SimulatedScm&) = delete;

    DWORD State(const std::wstring& name);
    /// What was asked for so far, but for queries, such as "open a 24", "start a", "control a 1", "startup a
    /// 4". Numbers are hexadecimal.
    std::vector<std::wstring> Calls();

    std::map<std::wstring, SimulatedService, NameLess> services;
    std::map<std::wstring, DWORD> openErrors;  // by name
    DWORD managerError = 0;
    DWORD tick = 1000000;
    DWORD ticksPerQuery = 0;                // the clock moves on by this with each status query
    std::function<void(DWORD ms)> onSleep;  // on the sleeping thread; the clock has moved on already
    std::function<void(const std::wstring& name)> onQuery;  // before each status query
    int openHandles = 0;
    std::recursive_mutex lock;  // guards all of the above but the hooks, while threads run
    std::vector<std::wstring> calls;
};

}  // namespace test_support
