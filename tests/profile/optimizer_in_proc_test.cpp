// The engine in a process that has no service: the installed module with its own private host.
#include <filesystem>

#include <gtest/gtest.h>
#include <windows.h>

#include "border/optimizer.h"
#include "frame/handles.h"
#include "tests/support/raw_slots.h"
#include "tests/support/simulated_power.h"
#include "tools/rig/installation.h"
#include "tools/rig/scratch_services.h"

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

class InProc : public testing::Test {
protected:
    InProc() {
        m_power.Set(SimulatedPower::ValueName(kSleep, kHibernateEnabled, false), 0);
        m_power.Set(m_time, 41);
        m_installation.UseSimulatedPower();
        std::filesystem::create_directory(m_temp);
        SetEnvironmentVariableW(L"TMP", m_temp.c_str());
        void* object = nullptr;
        EXPECT_EQ(_Export<VxCreateObjectFunction>("VxCreateObject")(kName, &IOptimizer::kIdentifier, &object),
                  0U);
        m_engine = static_cast<IOptimizer*>(object);
    }
    ~InProc() override {
        _Export<VxDestroyObjectFunction>("VxDestroyObject")(kName, m_engine);
        SetEnvironmentVariableW(L"TMP", nullptr);
    }

    void Change(profile wanted, uint32_t expectedTime) {
        EXPECT_EQ(m_engine->SetProfile(&wanted), 0U);
        EXPECT_TRUE(rig::WaitUntil([&] { return m_power.Get(m_time) == expectedTime; }));
        profile active = profile::Battery;
        EXPECT_EQ(m_engine->GetProfile(&active), 0U);
        EXPECT_EQ(active, wanted);
    }

    /// Every operation, called by its slot, as long as there is no engine.
    void ExpectNothingHeld() {
        const void* argument = this;
        for (const size_t slot : {5, 7, 8, 9, 10, 11, 12, 13, 14})
            EXPECT_EQ(CallSlot<uint32_t>(m_engine, slot, argument, argument), 31U) << slot;
        CallSlot<void>(m_engine, 6, argument);
        EXPECT_EQ(GetModuleHandleW(L"framework.dll"), nullptr);
    }

    const rig::Installation m_installation{kProfiles};
    const std::wstring m_list = m_installation.File(L"settings\\inproc_optimizer.xml");
    const std::wstring m_temp = m_installation.File(L"temp");
    const std::wstring m_time = SimulatedPower::ValueName(kSleep, kHibernateTimeout, false);
    SimulatedPower m_power;
    IOptimizer* m_engine = nullptr;

private:
    template <class Function>
    Function* _Export(const char* name) {
        if (!m_library) {
            m_library.Reset(LoadLibraryExW(m_installation.File(L"optimizeral.dll").c_str(), nullptr,
                                           LOAD_WITH_ALTERED_SEARCH_PATH));
        }
        return optimizer::GetExport<Function>(m_library.Get(), name);
    }

    optimizer::Library m_library;
};

TEST_F(InProc, AProfileComesAndGoesWithAndWithoutTheListTwiceInOneProcess) {
    ExpectNothingHeld();
    for (const bool withList : {true, false, true, false}) {
        SCOPED_TRACE(withList);
        const std::wstring hidden = withList ? m_list : m_list + L".off";
        EXPECT_TRUE(MoveFileExW(m_list.c_str(), hidden.c_str(), 0));
        ASSERT_EQ(m_engine->Init(nullptr), 0U);
        EXPECT_TRUE(std::filesystem::is_empty(m_temp));
        EXPECT_EQ(m_engine->Start(), 0U);
        EXPECT_EQ(m_engine->AddEventsObserver(nullptr), uint32_t{ERROR_INVALID_PARAMETER});
        EXPECT_EQ(m_engine->RemoveEventsObserver(nullptr), uint32_t{ERROR_NOT_FOUND});
        EXPECT_EQ(m_engine->SetModuleEnable(true), 0U);
        Change(profile::Game, 222);
        Change(profile::Disabled, 41);
        EXPECT_EQ(m_engine->Stop(), 0U);
        m_engine->UnInit();
        ExpectNothingHeld();
        EXPECT_TRUE(MoveFileExW(hidden.c_str(), m_list.c_str(), 0));
    }
}

TEST_F(InProc, AFailedInitLeavesNothingBehind) {
    std::filesystem::remove(m_list);
    std::filesystem::remove(m_temp);
    EXPECT_EQ(m_engine->Init(nullptr), uint32_t{ERROR_FILE_NOT_FOUND}) << "the list's error stands";
    ExpectNothingHeld();
    std::filesystem::create_directory(m_temp);
    std::filesystem::remove(m_installation.File(L"framework.dll"));
    EXPECT_NE(m_engine->Init(nullptr), 0U);
    ExpectNothingHeld();
    m_engine->UnInit();
}

}  // namespace
