// A change of profile with actions that do nothing, against the file work of its revert list written out.
#include <stdexcept>

#include "bench/harness.h"
#include "bench/written_out_change.h"
#include "border/product_info.h"
#include "frame/text.h"
#include "frame/users_library.h"
#include "framework/event_queue.h"
#include "profile/optimizer_profile.h"
#include "settings/profile_names.h"
#include "settings/settings_manager.h"
#include "tests/support/fake_host.h"
#include "tools/rig/temporary_folder.h"

// The engine's accesses to files are counted where they are imported.
namespace {

uint64_t g_reads = 0;
uint64_t g_writes = 0;

template <class Function>
Function* SystemFunction(const char* name) {
    return optimizer::GetExport<Function>(GetModuleHandleW(L"kernel32.dll"), name);
}

BOOL WINAPI CountingRead(HANDLE file, void* buffer, DWORD size, DWORD* read, OVERLAPPED* overlapped) {
    static auto* const s_real = SystemFunction<decltype(CountingRead)>("ReadFile");
    ++g_reads;
    return s_real(file, buffer, size, read, overlapped);
}

BOOL WINAPI CountingFlush(HANDLE file) {
    static auto* const s_real = SystemFunction<decltype(CountingFlush)>("FlushFileBuffers");
    ++g_writes;
    return s_real(file);
}

}  // namespace

extern "C" {
decltype(&ReadFile) __imp_ReadFile = &CountingRead;
decltype(&FlushFileBuffers) __imp_FlushFileBuffers = &CountingFlush;
}

namespace bench {

namespace {

using optimizer::IOptimizerActionSettings;
using optimizer::profiles::profile;

/// What an idle action "found", of the size that real ones have.
class IdleParams final : public IOptimizerActionSettings {
public:
    void ToJson(picojson::value* out) const override { *out = IdleActionNote(); }
    void FromJson(const picojson::value*) override {}
};

class IdleAction final : public optimizer::IOptimizerAction {
public:
    explicit IdleAction(std::wstring name) : m_name(std::move(name)) {}
    uint32_t Note(IOptimizerActionSettings*) override { return 0; }
    uint32_t Start() override { return 0; }
    uint32_t Stop() override { return 0; }
    uint32_t Revert() override { return 0; }
    uint32_t FinishRevert() override { return 0; }
    uint32_t PutBack() override { return 0; }
    uint32_t Update(IOptimizerActionSettings*) override { return 0; }
    bool HasSameParameters(IOptimizerActionSettings*) override { return true; }
    IOptimizerActionSettings* GetParameters() override { return &m_params; }
    IOptimizerActionSettings* GetRevertParameters() override { return &m_params; }
    uint32_t SetRevertParameters(IOptimizerActionSettings*) override { return 0; }
    const wchar_t* GetName() override { return m_name.c_str(); }

private:
    const std::wstring m_name;
    IdleParams m_params;
};

optimizer::ActionPointer MakeIdleAction(const std::wstring& name, const std::string&, IServMain*) {
    return optimizer::ActionPointer(new IdleAction(name));
}

/// Tells the folder to work in as the product's data folder.
class ProductInfo final : public IProductInfo {
public:
    explicit ProductInfo(std::wstring folder) : m_folder(std::move(folder)) {}
    void* QueryInterface(const Identifier*) override { return this; }
    uint32_t Init(IServMain*) override { return 0; }
    void UnInit() override {}
    uint32_t Start() override { return 0; }
    uint32_t Stop() override { return 0; }
    void Reserved5() override {}
    const wchar_t* GetValue(int32_t, const wchar_t*) override { return m_folder.c_str(); }

private:
    const std::wstring m_folder;
};

/// The host's own event queue, and just the two plug-ins that the engine asks for.
class BenchHost final : public IServMain {
public:
    explicit BenchHost(const std::wstring& folder) : m_productInfo(folder) {
        m_components.plugins[L"productinfo"] = &m_productInfo;
        m_components.plugins[L"optimizersettings"] = &m_settings;
        if (m_queue.Start(1) != ERROR_SUCCESS || m_settings.Init(this) != ERROR_SUCCESS) {
            throw std::runtime_error("the engine's host can't be started");
        }
    }
    void* QueryInterface(const Identifier*) override { return nullptr; }
    IComponentManager* GetComponentManager() override { return &m_components; }
    IPluginLoader* GetPluginLoader() override { return nullptr; }
    IEventQueue* GetEventQueue() override { return &m_queue; }

private:
    test_support::FakeComponentManager m_components;
    ProductInfo m_productInfo;
    optimizer::CSettingsManager m_settings;
    host::CEventQueue m_queue;
};

/// The engine, as its manager drives it.
class Engine final : public optimizer::IOptimizerProfileObserver {
public:
    explicit Engine(IServMain* host) : m_profile(host, this, &MakeIdleAction) {}
    void Change(profile wanted) {
        if (m_profile.StoreChoice(&wanted) + m_profile.Start(&wanted) != ERROR_SUCCESS)
            throw std::runtime_error("the profile isn't started");
        WaitForSingleObject(m_executed.Get(), INFINITE);
        m_profile.Stop();
    }
    void OnActionsExecuted(const profile*) override { SetEvent(m_executed.Get()); }

private:
    optimizer::KernelHandle m_executed{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    optimizer::OptimizerProfile m_profile;
};

std::wstring UserPrefix() {
    auto& users = optimizer::VxUsersLibrary::Instance();
    UserRecord user = {};
    if (!users.Bind() || !users.Fill(optimizer::VxUsersLibrary::kSrvGetCurrentUserName, user)) {
        throw std::runtime_error("the user library doesn't tell the user");
    }
    return std::wstring(user.domain) + L"_" + user.name;
}

std::string Account() {
    std::wstring account;
    optimizer::GetCurrentUserName(account);
    return optimizer::Narrow(account);
}

/// Both sides must work on the files as often, and come to the same end. Tells what a change takes.
std::string RequireSameWork(Engine& engine, WrittenOutChange& writtenOut, const std::wstring& engineFile,
                            const std::wstring& writtenOutFile) {
    // The engine's first change looks for what an earlier life of the service left.
    engine.Change(profile::Disabled);
    std::string counts;
    for (const profile wanted : {profile::Game, profile::Disabled}) {
        g_reads = g_writes = 0;
        engine.Change(wanted);
        const uint64_t reads = std::exchange(g_reads, 0);
        const uint64_t writes = std::exchange(g_writes, 0);
        writtenOut.Change(wanted);
        counts += optimizer::ProfileName(wanted) + " takes " + writtenOut.Counts() + "; ";
        if (reads != g_reads || writes != g_writes) {
            throw std::runtime_error("the engine's change takes " + std::to_string(reads) + " reads and " +
                                     std::to_string(writes) + " writes; written out, " + counts);
        }
        if (rig::ReadFileText(engineFile) != rig::ReadFileText(writtenOutFile)) {
            throw std::runtime_error("the engine and the change written out leave different revert lists");
        }
    }
    return counts + "each write is flushed to the disk; the same on both sides";
}

}  // namespace

Figure ProfileChange() {
    const rig::TemporaryFolder folder;
    const std::wstring settings = folder.File(L"optimizer\\");
    const std::wstring user = settings + UserPrefix();
    const std::wstring userFile = user + L"_restore_profile.json";
    WrittenOutChange::Files files{settings + L"profiles.json", settings + L"system_restore_profile.json",
                                  folder.File(L"written_out.json"), user + L"_config_profiles.json",
                                  Account()};
    CreateDirectoryW(settings.c_str(), nullptr);
    rig::WriteFileText(files.profiles, ShippedProfiles());
    // There, so that each look at one of them is a read and a parse on both sides.
    rig::WriteFileText(files.config, R"({"Disabled":{},"Game":{}})");
    for (const std::wstring& list : {files.systemList, files.userList, userFile})
        rig::WriteFileText(list, R"({"Disabled":{}})");

    BenchHost host(folder.Path());
    Engine engine(&host);
    WrittenOutChange writtenOut(files);
    Figure figure{"profile change, 12 idle actions", "its file work written out", 1.3, {}, {}};
    figure.note = RequireSameWork(engine, writtenOut, userFile, files.userList);

    const auto thereAndBack = [](auto& side) {
        return [&side] {
            side.Change(profile::Game);
            side.Change(profile::Disabled);
        };
    };
    figure.values = Ratios(thereAndBack(engine), thereAndBack(writtenOut));
    return figure;
}

}  // namespace bench
