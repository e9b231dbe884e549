#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "actions/windows_services_action.h"
#include "tests/support/fake_host.h"
#include "tests/support/simulated_log.h"
#include "tests/support/simulated_scm.h"

namespace optimizer {

using enum ServiceStatus;
using Startup = ServiceStartup;
using Records = std::vector<ServiceRecord>;
using Pair = std::pair<DWORD, DWORD>;

inline WindowsServicesParams Params(const Records& services) {
    WindowsServicesParams parameters;
    parameters.services = services;
    return parameters;
}

/// A service manager with a running and a stopped service, and a queue that runs by hand.
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
    std::unique_ptr<CWindowsServicesAction> Make(const Records& services, IServMain* on = nullptr) {
        return std::make_unique<CWindowsServicesAction>(Params(services), on != nullptr ? on : &host);
    }
    static Records RevertRecords(CWindowsServicesAction& action) {
        return dynamic_cast<WindowsServicesParams&>(*action.GetRevertParameters()).services;
    }
    /// As the engine does: what there is to return to is noted first.
    static void Move(CWindowsServicesAction& action, const Records& services) {
        WindowsServicesParams next = Params(services);
        EXPECT_EQ(action.Note(&next), 0U);
        EXPECT_EQ(action.Update(&next), 0U);
    }
    std::vector<std::wstring> Changes() const {
        std::vector<std::wstring> changes = scm.calls;
        std::erase_if(changes, [](const std::wstring& call) { return call.starts_with(L"open"); });
        return changes;
    }
    DWORD State(const wchar_t* name) { return scm.services.at(name).state; }
    Pair Now(const wchar_t* name) { return {State(name), scm.services.at(name).startType}; }

    test_support::SimulatedScm scm;
    test_support::FakeHost host;
    test_support::TraceRecorder traces;
};

}  // namespace optimizer
