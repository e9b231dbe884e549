// The module as a host from another compiler meets it: a library with three exports, and objects whose
// operations are called by their numbers in the virtual table.
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <windows.h>

#include "border/optimizer.h"
#include "border/optimizer_settings.h"
#include "frame/handles.h"
#include "frame/vx_string.h"
#include "tests/support/fake_host.h"
#include "tests/support/fake_product_info.h"
#include "tests/support/raw_slots.h"
#include "tests/support/simulated_users.h"
#include "tests/support/temporary_folder.h"

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
    Module() : m_library(LoadLibraryW(L"optimizeral.dll")) {
        m_create = optimizer::GetExport<VxCreateObjectFunction>(m_library.Get(), "VxCreateObject");
        m_destroy = optimizer::GetExport<VxDestroyObjectFunction>(m_library.Get(), "VxDestroyObject");
        m_notify = optimizer::GetExport<uint32_t()>(m_library.Get(), "VxNotifyUninstall");
    }
    ~Module() override {
        m_library.Reset();
        EXPECT_EQ(GetModuleHandleW(L"optimizeral.dll"), nullptr);
        EXPECT_EQ(GetModuleHandleW(L"log.dll"), nullptr) << "the module lets go of the log when it goes";
    }

    uint32_t Create(const wchar_t* name, const Identifier& iid, void** out) {
        *out = this;
        const uint32_t error = m_create(name, &iid, out);
        EXPECT_EQ(*out == nullptr, error != ERROR_SUCCESS);
        return error;
    }
    void* Made(const wchar_t* name) {
        void* object = nullptr;
        EXPECT_EQ(Create(name, kBase, &object), ERROR_SUCCESS);
        return object;
    }
    /// The plugin holds the log from its construction to its end.
    static bool PluginLives() { return GetModuleHandleW(L"log.dll") != nullptr; }

    Library m_library;
    VxCreateObjectFunction* m_create = nullptr;
    VxDestroyObjectFunction* m_destroy = nullptr;
    uint32_t (*m_notify)() = nullptr;
};

TEST_F(Module, HasExactlyThreeExports) {
    const auto* const base = reinterpret_cast<const std::byte*>(m_library.Get());
    const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const DWORD address = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress;
    const auto* const exports = reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(base + address);
    const auto* const names = reinterpret_cast<const DWORD*>(base + exports->AddressOfNames);
    std::vector<std::string> found;
    for (DWORD i = 0; i < exports->NumberOfNames; ++i)
        found.emplace_back(reinterpret_cast<const char*>(base + names[i]));
    EXPECT_EQ(found, (std::vector<std::string>{"VxCreateObject", "VxDestroyObject", "VxNotifyUninstall"}));
    EXPECT_EQ(exports->NumberOfFunctions, 3U);
}

TEST_F(Module, RefusesWhatItCanNotMake) {
    const struct {
        const wchar_t* name;
        const Identifier* iid;
        uint32_t error;
    } kCases[] = {{nullptr, &kBase, 13},
                  {L"optimizeral", nullptr, 13},
                  {L"unknown", &kBase, 1168},
                  {L"optimizersettings", &IOptimizer::kIdentifier, 1168}};
    for (const auto& c : kCases) {
        void* out = this;
        EXPECT_EQ(m_create(c.name, c.iid, &out), c.error);
        EXPECT_EQ(out, nullptr);
    }
    EXPECT_EQ(m_create(L"optimizeral", &kBase, nullptr), 13U);
    EXPECT_FALSE(PluginLives());
    m_destroy(nullptr, this);
    m_destroy(L"unknown", this);
}

TEST_F(Module, ThePluginIsOneObjectUnderACount) {
    void* const first = Made(L"optimizeral");
    EXPECT_EQ(Made(L"OPTIMIZERAL"), first);
    for (const Identifier& iid : {IServPlugin::kIdentifier, IOptimizer::kIdentifier}) {
        EXPECT_EQ(CallSlot<void*>(first, 0, &iid), first);
    }
    EXPECT_EQ(CallSlot<void*>(first, 0, &kStrange), nullptr);
    EXPECT_EQ(CallSlot<void*>(first, 0, &IOptimizerSettings::kIdentifier), nullptr);
    m_destroy(L"Optimizeral", nullptr);  // the object isn't looked at
    EXPECT_TRUE(PluginLives());
    m_destroy(L"optimizeral", first);
    EXPECT_FALSE(PluginLives());
}

TEST_F(Module, AStrangeIdentifierLeavesTheCountRaised) {
    void* out = nullptr;
    EXPECT_EQ(Create(L"optimizeral", kStrange, &out), ERROR_NOT_FOUND);
    EXPECT_TRUE(PluginLives());
    void* const plugin = Made(L"optimizeral");
    EXPECT_EQ(Create(L"optimizeral", kStrange, &out), ERROR_NOT_FOUND);
    m_destroy(L"optimizeral", plugin);
    m_destroy(L"optimizeral", nullptr);
    EXPECT_TRUE(PluginLives());
    m_destroy(L"optimizeral", nullptr);
    EXPECT_FALSE(PluginLives());
    m_destroy(L"optimizeral", Made(L"optimizeral"));  // the count was exactly 0 again
    EXPECT_FALSE(PluginLives());
}

TEST_F(Module, ADestructionTooManyIsNotMended) {
    void* out = nullptr;
    m_destroy(L"optimizeral", nullptr);
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(Create(L"optimizeral", kBase, &out), ERROR_NOT_FOUND);
    EXPECT_FALSE(PluginLives());
    void* const settings = Made(L"optimizersettings");
    EXPECT_NE(settings, nullptr) << "the others go on";
    m_destroy(L"optimizersettings", settings);
}

TEST_F(Module, ReferencesLeftOverEndWithTheModule) {
    Made(L"optimizeral");
    Made(L"optimizersettings");
    EXPECT_TRUE(PluginLives());  // the fixture checks that the log is let go of
}

/// What the engine's observers hear, as one text.
class Listener final : public IOptimizerEvents {
public:
    void OnTaskFinished(const wchar_t*, const uint32_t*, uint32_t) override {}
    void OnProfileChanged(const wchar_t* user, const profile* p) override { _Note(L"profile", user, *p); }
    void OnActionsExecuted(const wchar_t* user, const profile* p) override { _Note(L"executed", user, *p); }
    void OnProfileConfigChanged(const wchar_t* user, const profile* p) override {
        _Note(L"config", user, *p);
    }
    void OnOptimizerModuleEnableChanged(const wchar_t* user, bool on) override {
        _Note(on ? L"on" : L"off", user, profile::Disabled);
    }
    void OnOptimizerProcessOptimized(const wchar_t*, uint32_t) override {}

    std::wstring Take() { return std::exchange(m_heard, L""); }

private:
    void _Note(const std::wstring& what, const wchar_t* user, profile which) {
        m_heard += what + L" " + std::to_wstring(static_cast<uint32_t>(which)) + L" " + user + L";";
    }

    std::wstring m_heard;
};

TEST_F(Module, ThePluginsSlotsBeforeInit) {
    void* const plugin = Made(L"optimizeral");
    const int32_t task = 1;
    const profile game = profile::Game;
    profile active = profile::Movie;
    vx::String config(L"{}");
    bool enabled = true;
    Listener listener;
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 5, &task), 0U);
    CallSlot<void>(plugin, 6, &task);
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 13, &listener), 0U);
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 13, &listener), 183U);
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 7, &game), 31U);
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 8, &active), 31U);
    EXPECT_EQ(active, profile::Movie);
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 10, &game, &config), 31U);
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 12, &enabled), 31U);
    EXPECT_EQ(listener.Take(), L"");
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 9, &game, &config), 31U);
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 11, true), 0U);
    EXPECT_EQ(listener.Take(), L"config 2 ;on 0 ;") << "told all the same, with nobody's name";
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 14, &listener), 0U);
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 14, &listener), 1168U);
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 1, static_cast<IServMain*>(nullptr)), 6U);
    CallSlot<void>(plugin, 2);
    m_destroy(L"optimizeral", plugin);
}

TEST_F(Module, AHostDrivesItsComponentsByTheirSlots) {
    const test_support::TemporaryFolder folder;
    std::filesystem::create_directory(folder.File(L"optimizer"));
    test_support::WriteFileText(folder.File(L"optimizer\\profiles.json"), R"({"Disabled":{},"Game":{}})");
    test_support::SetSimulatedUser(L"HOME", L"ann");
    test_support::FakeHost host;
    test_support::FakeProductInfo product;
    product.folder = folder.Path();
    host.manager.plugins[L"productinfo"] = &product;
    IServMain* const servMain = &host;

    void* const settings = Made(L"optimizersettings");
    EXPECT_EQ(CallSlot<uint32_t>(settings, 1, servMain), 0U);
    EXPECT_EQ(CallSlot<uint32_t>(settings, 3), 0U);
    EXPECT_NE(CallSlot<void*>(settings, 5), nullptr);
    host.manager.plugins[L"optimizersettings"] = static_cast<IVxBaseInterface*>(settings);

    void* const plugin = Made(L"optimizeral");
    Listener listener;
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 1, servMain), 0U);
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 3), 0U);
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 11, true), 0U);
    host.queue.RunAll();
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 13, &listener), 0U);
    const profile game = profile::Game;
    profile active = profile::Disabled;
    bool enabled = false;
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 7, &game), 0U);
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 7, &game), 183U);
    host.queue.RunAll();
    EXPECT_EQ(listener.Take(), L"profile 2 HOME\\ann;executed 2 HOME\\ann;");
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 8, &active), 0U);
    EXPECT_EQ(active, profile::Game);
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 12, &enabled), 0U);
    EXPECT_TRUE(enabled);
    {
        vx::String config(LR"({"A":{"active":false}})");
        vx::String read;  // has no buffer yet: the module makes it, this side frees it
        const profile work = profile::Work;
        EXPECT_EQ(CallSlot<uint32_t>(plugin, 9, &work, &config), 0U);
        EXPECT_EQ(CallSlot<uint32_t>(plugin, 10, &work, &read), 0U);
        EXPECT_STREQ(read.Text(), config.Text());
    }
    EXPECT_EQ(CallSlot<uint32_t>(plugin, 4), 0U);
    CallSlot<void>(plugin, 2);
    m_destroy(L"optimizeral", plugin);
    for (const auto& [name, references] : host.manager.references)
        EXPECT_EQ(references, 0) << std::filesystem::path(name);
    EXPECT_EQ(host.queue.openHandles + host.queue.liveSerials, 0);

    CallSlot<void>(settings, 2);
    EXPECT_EQ(CallSlot<void*>(settings, 5), nullptr);
    EXPECT_EQ(CallSlot<void*>(settings, 7, uint32_t{1}), settings) << "the deleting destructor frees it";
}

TEST_F(Module, AnUninstallSignalsTheEventThatSomebodyHoldsOpen) {
    EXPECT_EQ(m_notify(), 0U);
    const KernelHandle held(CreateEventW(nullptr, FALSE, FALSE, kEventName));
    ASSERT_TRUE(held);
    EXPECT_EQ(WaitForSingleObject(held.Get(), 0), WAIT_TIMEOUT) << "what nobody held open is lost";
    EXPECT_EQ(m_notify(), 0U);
    EXPECT_EQ(m_notify(), 0U);
    EXPECT_EQ(WaitForSingleObject(held.Get(), 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(held.Get(), 0), WAIT_TIMEOUT) << "resets by itself";
}

TEST_F(Module, AnUninstallThatCanNotHaveItsEventSaysSo) {
    const KernelHandle other(CreateMutexW(nullptr, FALSE, kEventName));
    ASSERT_TRUE(other);
    EXPECT_EQ(m_notify(), 31U);
}

}  // namespace
