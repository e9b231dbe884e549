// The engine in a process that has no service: the installed module with its own private host.
#include <atomic>
#include <filesystem>

#include <gtest/gtest.h>
#include <windows.h>

#include "border/optimizer.h"
#include "frame/handles.h"
#include "frame/vx_string.h"
#include "tests/support/raw_slots.h"
#include "tests/support/simulated_power.h"
#include "tools/rig/installation.h"

namespace {

using optimizer::profiles::profile;
using test_support::CallSlot;
using test_support::SimulatedPower;

constexpr const wchar_t* kName = L"optimizerinproc";
constexpr const char* kProfiles =
    R"({"SystemActions":["HibernateOnCable"],"Disabled":{},"Work":{},"Movie":{},"Battery":{},
        "Game":{"HibernateOnCable":{"active":true,"time":222}}})";
constexpr GUID kSleep = {0x238C9FA8, 0x0AAD, 0x41ED, {0x83, 0xF4, 0x97, 0xBE, 0x24, 0x2C, 0x8F, 0x20}};
constexpr GUID kHibernateEnabled = {
    0x94AC6D29, 0x73CE, 0x41A6, {0x80, 0x9F, 0x63, 0x63, 0xBA, 0x21, 0xB4, 0x7E}};
constexpr GUID kHibernateTimeout = {
    0x9D7815A6, 0x7EE4, 0x497E, {0x88, 0x88, 0x51, 0x5A, 0x05, 0xF0, 0x23, 0x64}};

struct Executed final : IOptimizerEvents {
    void OnTaskFinished(const wchar_t*, const uint32_t*, uint32_t) override {}
    void OnProfileChanged(const wchar_t*, const profile*) override {}
    void OnActionsExecuted(const wchar_t*, const profile* executed) override {
        if (*executed == wanted) SetEvent(event.Get());
    }
    void OnProfileConfigChanged(const wchar_t*, const profile*) override {}
    void OnOptimizerModuleEnableChanged(const wchar_t*, bool) override {}
    void OnOptimizerProcessOptimized(const wchar_t*, uint32_t) override {}

    std::atomic<profile> wanted = profile::Disabled;
    optimizer::KernelHandle event{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
};

class InProc : public testing::Test {
protected:
    InProc() {
        m_power.Set(m_enabled, 0);
        m_power.Set(m_time, 41);
        std::filesystem::create_directory(m_installation.File(L"temp"));
        SetEnvironmentVariableW(L"TMP", m_installation.File(L"temp").c_str());
        m_installation.UseSimulatedPower();
        m_library.Reset(LoadLibraryExW(m_installation.File(L"optimizeral.dll").c_str(), nullptr,
                                       LOAD_WITH_ALTERED_SEARCH_PATH));
        m_create = optimizer::GetExport<VxCreateObjectFunction>(m_library.Get(), "VxCreateObject");
        m_destroy = optimizer::GetExport<VxDestroyObjectFunction>(m_library.Get(), "VxDestroyObject");
        void* object = nullptr;
        EXPECT_EQ(m_create(kName, &IOptimizer::kIdentifier, &object), 0U);
        m_engine = static_cast<IOptimizer*>(object);
    }
    ~InProc() override {
        m_destroy(kName, m_engine);
        SetEnvironmentVariableW(L"TMP", nullptr);
    }

    void Change(profile wanted, uint32_t expectedTime) {
        m_executed.wanted = wanted;
        ResetEvent(m_executed.event.Get());
        EXPECT_EQ(m_engine->SetProfile(&wanted), 0U);
        EXPECT_EQ(WaitForSingleObject(m_executed.event.Get(), 20000), WAIT_OBJECT_0);
        EXPECT_EQ(m_power.Get(m_time), expectedTime);
        profile active = profile::Battery;
        EXPECT_EQ(m_engine->GetProfile(&active), 0U);
        EXPECT_EQ(active, wanted);
    }

    /// Every operation, called by its slot, as long as there is no engine.
    void ExpectNothingHeld() {
        const void* argument = &m_executed;
        for (const size_t slot : {5, 7, 8, 13, 14})
            EXPECT_EQ(CallSlot<uint32_t>(m_engine, slot, argument), 31U) << slot;
        for (const size_t slot : {9, 10})
            EXPECT_EQ(CallSlot<uint32_t>(m_engine, slot, argument, argument), 31U) << slot;
        EXPECT_EQ(CallSlot<uint32_t>(m_engine, 11, true), 31U);
        EXPECT_EQ(CallSlot<uint32_t>(m_engine, 12, argument), 31U);
        CallSlot<void>(m_engine, 6, argument);
        EXPECT_EQ(GetModuleHandleW(L"framework.dll"), nullptr);
        if (std::filesystem::exists(m_installation.File(L"temp"))) {
            EXPECT_TRUE(std::filesystem::is_empty(m_installation.File(L"temp")));
        }
    }

    SimulatedPower m_power;
    const std::wstring m_enabled = SimulatedPower::ValueName(kSleep, kHibernateEnabled, false);
    const std::wstring m_time = SimulatedPower::ValueName(kSleep, kHibernateTimeout, false);
    const rig::Installation m_installation{kProfiles};
    const std::wstring m_list = m_installation.File(L"settings\\inproc_optimizer.xml");
    Executed m_executed;
    optimizer::Library m_library;
    VxCreateObjectFunction* m_create = nullptr;
    VxDestroyObjectFunction* m_destroy = nullptr;
    IOptimizer* m_engine = nullptr;
};

TEST_F(InProc, AProfileComesAndGoesWithAndWithoutTheListTwiceInOneProcess) {
    ExpectNothingHeld();
    for (const bool withList : {true, false, true, false}) {
        SCOPED_TRACE(withList);
        const std::wstring hidden = withList ? m_list : m_list + L".off";
        EXPECT_TRUE(MoveFileExW(m_list.c_str(), hidden.c_str(), 0));
        ASSERT_EQ(m_engine->Init(nullptr), 0U);
        EXPECT_TRUE(std::filesystem::is_empty(m_installation.File(L"temp")));
        EXPECT_EQ(m_engine->Start(), 0U);
        EXPECT_EQ(m_engine->AddEventsObserver(&m_executed), 0U);
        EXPECT_EQ(m_engine->SetModuleEnable(true), 0U);
        Change(profile::Game, 222);
        Change(profile::Disabled, 41);
        EXPECT_EQ(m_engine->RemoveEventsObserver(&m_executed), 0U);
        EXPECT_EQ(m_engine->Stop(), 0U);
        m_engine->UnInit();
        ExpectNothingHeld();
        EXPECT_TRUE(MoveFileExW(hidden.c_str(), m_list.c_str(), 0));
    }
}

TEST_F(InProc, AFailedInitLeavesNothingBehind) {
    std::filesystem::remove(m_list);
    std::filesystem::remove(m_installation.File(L"temp"));
    EXPECT_EQ(m_engine->Init(nullptr), uint32_t{ERROR_FILE_NOT_FOUND}) << "the list's error stands";
    ExpectNothingHeld();
    std::filesystem::create_directory(m_installation.File(L"temp"));
    std::filesystem::remove(m_installation.File(L"framework.dll"));
    EXPECT_NE(m_engine->Init(nullptr), 0U);
    ExpectNothingHeld();
    m_engine->UnInit();
}

}  // namespace
