// The module as a host from another compiler meets it: a library with its exports, and objects whose
// operations are called by their numbers in the virtual table.
#include <filesystem>

#include <gtest/gtest.h>
#include <windows.h>

#include "border/agent_presence.h"
#include "border/boot_time.h"
#include "border/optimizer.h"
#include "frame/handles.h"
#include "frame/text.h"
#include "frame/vx_string.h"
#include "tests/support/fake_host.h"
#include "tests/support/fake_product_info.h"
#include "tests/support/raw_slots.h"
#include "tests/support/simulated_log.h"
#include "tests/support/simulated_users.h"
#include "tools/rig/temporary_folder.h"

namespace {

using optimizer::KernelHandle;
using optimizer::Library;
using optimizer::profiles::profile;
using test_support::CallSlot;

constexpr const wchar_t* kEventName = L"Global\\VXOptimizer-E1AAA9B3-4250-4B54-B272-A4B6F6ADB63C";
constexpr Identifier kStrange = {1, 2, 3, {}};
constexpr Identifier kBase = IVxBaseInterface::kIdentifier;

/// Loads the real module anew, so that each test begins with no references.
class Module : public testing::Test {
protected:
    ~Module() override {
        m_library.Reset();
        EXPECT_FALSE(PluginLives()) << "the module lets go of the log when it goes";
    }

    void* Made(const wchar_t* name) {
        void* object = nullptr;
        EXPECT_EQ(m_create(name, &kBase, &object), ERROR_SUCCESS);
        return object;
    }
    /// The plugin holds the log from its construction to its end.
    static bool PluginLives() { return GetModuleHandleW(L"log.dll") != nullptr; }

    Library m_library{LoadLibraryW(L"optimizeral.dll")};
    VxCreateObjectFunction* m_create =
        optimizer::GetExport<VxCreateObjectFunction>(m_library.Get(), "VxCreateObject");
    VxDestroyObjectFunction* m_destroy =
        optimizer::GetExport<VxDestroyObjectFunction>(m_library.Get(), "VxDestroyObject");
    uint32_t (*m_notify)() = optimizer::GetExport<uint32_t()>(m_library.Get(), "VxNotifyUninstall");
};

TEST_F(Module, ThePluginIsOneObjectUnderACount) {
    void* const first = Made(L"optimizeral");
    EXPECT_EQ(Made(L"OPTIMIZERAL"), first);
    m_destroy(L"Optimizeral", nullptr);  // the object isn't looked at
    void* out = this;
    EXPECT_EQ(m_create(L"optimizeral", &kStrange, &out), ERROR_NOT_FOUND) << "and leaves the count raised";
    m_destroy(L"optimizeral", first);
    EXPECT_TRUE(PluginLives());
    m_destroy(L"optimizeral", nullptr);
    EXPECT_FALSE(PluginLives());
    m_destroy(L"optimizeral", nullptr);  // once too often
    EXPECT_EQ(m_create(L"optimizeral", &kBase, &out), ERROR_NOT_FOUND) << "costs the next one";
    EXPECT_EQ(out, nullptr);
    EXPECT_FALSE(PluginLives());
    Made(L"optimizeral");
    m_destroy(L"optimizeral", nullptr);
    EXPECT_FALSE(PluginLives());
}

TEST_F(Module, AHostDrivesItsComponentsByTheirSlots) {
    const rig::TemporaryFolder folder;
    std::filesystem::create_directory(folder.File(L"optimizer"));
    rig::WriteFileText(folder.File(L"optimizer\\profiles.json"), R"({"Disabled":{},"Game":{}})");
    test_support::SetSimulatedUser(L"HOME", L"ann");
    test_support::FakeHost host;
    test_support::FakeProductInfo product;
    product.folder = folder.Path();
    host.manager.plugins[L"productinfo"] = &product;
    IServMain* const servMain = &host;
    void* const settings = Made(L"optimizersettings");
    host.manager.plugins[L"optimizersettings"] = static_cast<IVxBaseInterface*>(settings);
    void* const plugin = Made(L"optimizeral");
    for (void* const component : {settings, plugin}) {
        EXPECT_EQ(CallSlot<uint32_t>(component, 1, servMain), 0U);
        EXPECT_EQ(CallSlot<uint32_t>(component, 3), 0U);
    }
    EXPECT_NE(CallSlot<void*>(settings, 5), nullptr);
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 11, true), 0U);
    host.queue.RunAll();
    IOptimizerEvents* const nobody = nullptr;
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 13, nobody), 87U);
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 14, nobody), 1168U);
    const profile game = profile::Game;
    profile active = profile::Disabled;
    bool enabled = false;
    vx::String config(LR"({"A":{"active":false}})");
    vx::String read;  // has no buffer yet: the module makes it, this side frees it
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 7, &game), 0U);
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 8, &active), 0U);
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 12, &enabled), 0U);
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 9, &game, &config), 0U);
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 10, &game, &read), 0U);
    EXPECT_TRUE(enabled && active == game);
    EXPECT_STREQ(read.Text(), config.Text());
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 4), 0U);
    CallSlot<void>(plugin, 2);
    m_destroy(L"optimizeral", plugin);
    CallSlot<void>(settings, 2);
    EXPECT_EQ(CallSlot<void*>(settings, 5), nullptr);
    EXPECT_EQ(CallSlot<void*>(settings, 7, uint32_t{1}), settings) << "the deleting destructor frees it";
}

/// What a component says to a host that is half there, by its slots: none may fall over it, and each is as
/// good as new afterwards.
TEST_F(Module, EveryComponentBearsAHostThatIsHalfThere) {
    test_support::FakeHost bare;
    bare.hasManager = false;
    test_support::FakeHost empty;  // whose manager has no plug-ins
    const struct {
        const wchar_t* name;
        uint32_t withoutHost;
        uint32_t withoutManager;
        uint32_t withoutPlugins;
    } components[] = {
        {L"optimizeral", 6, 0, 0},
        {L"optimizersettings", 6, 6, 1168},
        {L"optimizeralcomm", 31, 31, 1168},
        {L"optimizeragent", 6, 31, 1168},
        {L"optimizeragentserver", 6, 31, 1168},
        {L"boottime", ~0U, ~0U, 1168},
        {L"boottimecomm", 31, 31, 1168},
    };
    for (const auto& component : components) {
        SCOPED_TRACE(optimizer::Narrow(component.name));
        for (int round = 0; round < 2; ++round) {
            void* const object = Made(component.name);
            EXPECT_EQ(CallSlot<void*>(object, 0, &kStrange), nullptr);
            const std::pair<IServMain*, uint32_t> hosts[] = {{nullptr, component.withoutHost},
                                                             {&bare, component.withoutManager},
                                                             {&empty, component.withoutPlugins}};
            for (const auto& [host, expected] : hosts) {
                EXPECT_EQ(CallSlot<uint32_t>(object, 1, host), expected);
                CallSlot<void>(object, 2);
            }
            m_destroy(component.name, object);
        }
    }
    for (const wchar_t* const name : {L"optimizercommclient", L"boottimecommclient"}) {
        void* const object = Made(name);
        IServMain* const none = nullptr;
        EXPECT_EQ(CallSlot<uint32_t>(object, 3), uint32_t{ERROR_NOT_ENOUGH_MEMORY}) << "before Init";
        EXPECT_EQ(CallSlot<uint32_t>(object, 4), 0U);
        CallSlot<void>(object, 2);
        EXPECT_NE(CallSlot<uint32_t>(object, 1, none), 0U) << "no connector lies beside this program";
        CallSlot<void>(object, 2);
        m_destroy(name, object);
    }
    void* const inProcess = Made(L"optimizerinproc");
    EXPECT_EQ(CallSlot<void*>(inProcess, 0, &kStrange), nullptr);
    m_destroy(L"optimizerinproc", inProcess);
}

TEST_F(Module, TheAgentServerAnswersForTheAgentsPresence) {
    void* const server = Made(L"optimizeragentserver");
    auto* const presence = CallSlot<void*>(server, 0, &IAgentPresence::kIdentifier);
    ASSERT_NE(presence, nullptr);
    EXPECT_EQ(CallSlot<void*>(presence, 0, &kBase), server);
    void* const nothing = nullptr;
    EXPECT_EQ(CallSlot<uint32_t>(presence, 2, uint32_t{5000}, nothing), ERROR_NOT_FOUND);
    m_destroy(L"optimizeragentserver", server);
}

TEST_F(Module, TheMeasurementsCreationIsTraced) {
    void* const plugin = Made(L"optimizeral");  // holds the log
    {
        const test_support::LogCalls log;
        log.Take();
        void* out = this;
        EXPECT_EQ(m_create(L"boottime", &kStrange, &out), ERROR_NOT_FOUND);
        std::wstring lines;
        for (const std::wstring& line : log.Take())
            lines += line + L"\n";
        for (const wchar_t* const text :
             {L"Created pOptimizerBootTimer object", L"Got pOptimizerBootTimer interface",
              L"OptimizerBootTimer interface not found"})
            EXPECT_NE(lines.find(text), std::wstring::npos) << text;
        void* const measurement = Made(L"BootTime");
        boottime::DiskSpeed speed = {};
        EXPECT_EQ(CallSlot<uint32_t>(measurement, 8, &speed), 1U);
        CallSlot<void>(measurement, 11, boottime::kNoResults);
        m_destroy(L"boottime", measurement);
    }
    m_destroy(L"optimizeral", plugin);
}

TEST_F(Module, AnUninstallSignalsTheEventThatSomebodyHoldsOpen) {
    EXPECT_EQ(m_notify(), 0U);
    const KernelHandle held(CreateEventW(nullptr, FALSE, FALSE, kEventName));
    EXPECT_EQ(WaitForSingleObject(held.Get(), 0), WAIT_TIMEOUT) << "what nobody held open is lost";
    EXPECT_EQ(m_notify(), 0U);
    EXPECT_EQ(WaitForSingleObject(held.Get(), 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(held.Get(), 0), WAIT_TIMEOUT) << "resets by itself";
}

}  // namespace
