// The Bluetooth action over adapters in memory: what it finds, what refusals cost, and cancels from a second
// thread.
#include "actions/bluetooth_action.h"

#include <thread>

#include <gtest/gtest.h>

#include "tests/actions/simulated_devices.h"
#include "tests/support/simulated_log.h"

namespace {

thread_local bool t_isStopper = false;
HANDLE g_stopperWaits = nullptr;

DWORD WINAPI Wait(HANDLE handle, DWORD ms) {
    if (t_isStopper && ms == INFINITE) SetEvent(g_stopperWaits);
    return WaitForSingleObjectEx(handle, ms, FALSE);
}

}  // namespace

extern "C" {
decltype(&WaitForSingleObject) __imp_WaitForSingleObject = &Wait;
}

namespace optimizer {
namespace {

using enum BluetoothStatus;

BluetoothParams Params(BluetoothStatus status) {
    BluetoothParams parameters;
    parameters.status = status;
    return parameters;
}

class Bluetooth : public testing::Test {
protected:
    ~Bluetooth() override { EXPECT_EQ(devices.openSets, 0); }

    std::vector<DWORD> Flags() const {
        std::vector<DWORD> flags;
        for (const auto& adapter : devices.adapters)
            flags.push_back(adapter.flags);
        return flags;
    }
    static BluetoothStatus Found(CBluetoothAction& action) {
        return dynamic_cast<BluetoothParams&>(*action.GetRevertParameters()).status;
    }

    test_support::SimulatedDevices devices;
    test_support::TraceRecorder traces;
};

TEST_F(Bluetooth, TheStateFoundIsThatOfTheFirstUsableClass) {
    constexpr GUID kFirst = {1, 0, 0, {}};
    constexpr GUID kSecond = {2, 0, 0, {}};
    const struct {
        std::vector<test_support::SimulatedDevices::Adapter> adapters;
        const wchar_t* failure;
        BluetoothStatus found;
    } cases[] = {
        {{}, L"", None},
        {{{.classGuid = kSecond, .flags = 1}, {.classGuid = kFirst, .flags = 2}}, L"", On},
        {{{.classGuid = kFirst, .flags = 1}, {.classGuid = kFirst}}, L"", Off},
        {{{.classGuid = kFirst, .hidesFlags = true}, {.classGuid = kFirst}}, L"", None},
        {{{.classGuid = kFirst, .hidesFlags = true}, {.classGuid = kSecond, .flags = 3}}, L"", Off},
        {{{.classGuid = kFirst}}, L"enumerate", None},
        {{{.classGuid = kFirst}}, L"open", None},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(&test - cases);
        devices.adapters = test.adapters;
        devices.errors = {{test.failure, 5}};
        CBluetoothAction action(Params(None));
        EXPECT_EQ(action.Start(), 0u);
        EXPECT_EQ(Found(action), test.found);
        EXPECT_EQ(action.Stop(), 0u) << "nothing runs";
    }
    EXPECT_TRUE(traces.Has(L"GetDeviceStatus failed"));
    EXPECT_TRUE(traces.Has(L"SetupDiGetClassDevs failed 0x5"));
}

TEST_F(Bluetooth, AllAdaptersChangeThoughOneRefusesAndRevertPutsThemBack) {
    devices.adapters = {{.description = L"Radio"}, {.description = L"Wall", .refuses = true}, {}};
    CBluetoothAction action(Params(Off));
    EXPECT_EQ(action.Revert(), 0u) << "nothing noted";
    EXPECT_EQ(action.Start(), 0u);
    EXPECT_EQ(Flags(), (std::vector<DWORD>{1, 0, 1}));
    EXPECT_TRUE(traces.Has(L"device descr=[Radio] DISABLE"));
    EXPECT_TRUE(traces.Has(L"SetupDiChangeState [Wall] failed 0x5"));
    EXPECT_TRUE(traces.Has(L"device descr=[UNKNOWN] DISABLE"));
    EXPECT_EQ(action.Start(), 0u);
    EXPECT_EQ(Found(action), On) << "noted only once";
    EXPECT_EQ(action.Revert(), 0u);
    EXPECT_EQ(Flags(), (std::vector<DWORD>{0, 0, 0}));

    BluetoothParams off = Params(Off);
    EXPECT_EQ(action.Update(&off), 0u);
    EXPECT_EQ(Flags(), (std::vector<DWORD>{1, 0, 1})) << "also for the status that it has already";
    devices.errors = {{L"enumerate", 6}};
    EXPECT_EQ(action.Start(), 6u);
    EXPECT_EQ(action.SetRevertParameters(nullptr), 87u);
}

TEST_F(Bluetooth, AStopTakesEffectAfterTheAdapterInHand) {
    devices.adapters.resize(3);
    const KernelHandle stopperWaits(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    g_stopperWaits = stopperWaits.Get();
    CBluetoothAction action(Params(Off));
    std::thread stopper;
    devices.onChange = [&](size_t index) {
        EXPECT_EQ(action.Start(), 183u) << "one at a time";
        if (index != 1) return;
        stopper = std::thread([&] {
            t_isStopper = true;
            EXPECT_EQ(action.Stop(), 0u);
        });
        EXPECT_EQ(WaitForSingleObjectEx(g_stopperWaits, 10000, FALSE), DWORD{WAIT_OBJECT_0});
    };
    EXPECT_EQ(action.Start(), 1223u);
    stopper.join();
    EXPECT_EQ(Flags(), (std::vector<DWORD>{1, 1, 0})) << "what has changed stays changed";
    devices.onChange = nullptr;
    EXPECT_EQ(action.Start(), 0u) << "the cancel is over";
    EXPECT_EQ(Flags(), (std::vector<DWORD>{1, 1, 1}));
}

}  // namespace
}  // namespace optimizer
