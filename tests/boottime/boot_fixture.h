#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <windows.h>

#include "boottime/boot_time_plugin.h"
#include "tests/support/fake_host.h"
#include "tests/support/fake_process_provider.h"
#include "tests/support/fake_product_info.h"
#include "tests/support/simulated_events.h"
#include "tests/support/simulated_log.h"
#include "tests/support/simulated_scm.h"
#include "tools/rig/temporary_folder.h"

namespace test_support {

struct BootProcess {
    uint32_t cpuMsPerPass = 0;
    uint64_t bytes = 0;  // of each kind, so far
    int64_t kernelMs = 0;
};

/// A machine that boots in place of the system's functions. Each wait of a pass lets a second go by, does
/// what the pass is to bring, and ends early when the stop event is signalled.
struct BootingMachine {
    int64_t startedMs = 13'000'000'000'000;  // since 1601
    std::map<uint32_t, BootProcess> processes;
    int logonPass = 1;
    std::function<void(int pass)> onPass = [](int) {};
    int passes = 0;
    HANDLE stopEvent = nullptr;  // that the pass waits for
    uint64_t idleTicks = 0;
    uint64_t idleTicksPerPass = uint64_t{1} << 40;  // more than any number of processors has
    int openProcesses = 0;
    bool notifies = true;  // the system has the function that tells of services
    uint32_t refused = 0;  // the process that can't be opened
    int notices = 0;       // of the service, asked for
    optimizer::KernelHandle secondNotice{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
};
extern BootingMachine* g_boot;

struct FakeLoadUsage final : FakePlugin<ILoadUsage> {
    void Reserved5() override {}
    uint32_t GetFigures(int32_t kind, void** figures, uint32_t* flags) override {
        EXPECT_TRUE(kind == 3 && *flags == 0);
        ++calls;
        *static_cast<boottime::DiskSpeed*>(*figures) = {1.0 * calls, 10.0 * calls, 4.0 * calls};
        return 31;
    }
    int calls = 0;
};

/// A host with what the measurement takes, an empty settings folder, nobody logged on, and the machine.
class BootFixture : public testing::Test, public boottime::IBootTimeEvents {
protected:
    BootFixture();
    ~BootFixture() override;
    void OnDataAnalysed(uint32_t status) override {
        m_status = status;
        SetEvent(m_ended.Get());
    }
    /// Until somebody hears of the end.
    uint32_t AwaitEnd() {
        Await(m_ended.Get());
        return m_status;
    }
    static void Await(HANDLE event) { EXPECT_EQ(WaitForSingleObject(event, 10000), WAIT_OBJECT_0); }
    std::wstring File(const wchar_t* name) const {
        return m_folder.File(std::wstring(L"optimizer\\") + name);
    }
    uint64_t NowTicks() const { return static_cast<uint64_t>(m_machine.startedMs + m_scm.tick) * 10000; }
    static void Deliver(const SimulatedEvent& event);

    SimulatedScm m_scm;
    BootingMachine m_machine;
    rig::TemporaryFolder m_folder;
    FakeHost m_host;
    FakeProductInfo m_product;
    FakeProcessProvider m_processes;
    FakeLoadUsage m_loadUsage;
    TraceRecorder m_traces;
    SimulatedEvents& m_log;
    optimizer::KernelHandle m_stopEvent{CreateEventW(nullptr, TRUE, FALSE, nullptr)};

private:
    optimizer::KernelHandle m_ended{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    std::atomic<uint32_t> m_status = 99;
};

}  // namespace test_support
