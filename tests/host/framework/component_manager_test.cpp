// Plug-ins from the list to the unload, through the host's main object. The plug-ins come from a library of the test's
// own and do what the test tells them at each step.
#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

#include <windows.h>

#include <gmock/gmock.h>

#include "frame/exported_object.h"
#include "frame/handles.h"
#include "framework/serv_main.h"
#include "tests/host/framework/test_plugin.h"
#include "tests/support/temporary_folder.h"

namespace {

/// What happened, in order, and what the test wants to happen at a step such as "a.Init".
struct Script {
    std::mutex lock;
    std::vector<std::wstring> steps;                                      // guarded by lock
    std::map<std::wstring, std::function<uint32_t(IServMain*)>> actions;  // set before the first step
};
Script* g_script = nullptr;

}  // namespace

extern "C" __declspec(dllexport) uint32_t OnPluginStep(const wchar_t* plugin, const wchar_t* step, IServMain* main) {
    const std::wstring name = std::wstring(plugin) + L"." + step;
    {
        std::lock_guard guard(g_script->lock);
        g_script->steps.push_back(name);
    }
    const auto action = g_script->actions.find(name);
    return action != g_script->actions.end() ? action->second(main) : 0;
}

namespace host {
namespace {

using optimizer::KernelHandle;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr DWORD kPatienceMs = 10000;

uint32_t Get(IServMain* main, const wchar_t* name) {
    void* plugin = nullptr;
    return main->GetComponentManager()->GetPlugin(name, &IServPlugin::kIdentifier, &plugin);
}

class ComponentManager : public testing::Test {
protected:
    ComponentManager() { g_script = &m_script; }
    ~ComponentManager() override {
        m_main.reset();
        g_script = nullptr;
    }

    /// `plugins` is a list such as "a1 b2", names with their startup.
    uint32_t Load(const std::string& plugins, const std::string& library = "framework_test_plugin.dll") {
        std::string text = "<settings><plugins>";
        for (size_t i = 0; i < plugins.size(); i += 3) {
            text += std::string("<plugin name=\"") + plugins[i] + "\" dll=\"" + library + "\" startup=\"" +
                    plugins[i + 1] + "\"/>";
        }
        test_support::WriteFileText(m_path, text + "</plugins></settings>");
        return m_main->GetPluginLoader()->LoadPlugins(m_path.c_str());
    }

    uint32_t Unload() { return m_main->GetPluginLoader()->UnloadPlugins(); }
    void On(const wchar_t* step, std::function<uint32_t(IServMain*)> action) { m_script.actions[step] = action; }
    std::vector<std::wstring> TakeSteps() { return std::exchange(m_script.steps, {}); }
    static bool IsLibraryLoaded() { return GetModuleHandleW(L"framework_test_plugin.dll") != nullptr; }

    Script m_script;
    test_support::TemporaryFolder m_folder;
    const std::wstring m_path = m_folder.File(L"plugins.xml");
    std::unique_ptr<CServMain> m_main = std::make_unique<CServMain>();
};

TEST_F(ComponentManager, StartsInListOrderAndEndsInTheReverseOrderOfTheStarts) {
    On(L"a.Init", [](IServMain* main) { return Get(main, L"d"); });
    On(L"b.Start", [](IServMain* main) { return Get(main, L"c"); });
    ASSERT_EQ(Load("a1 b1 c1 d2 e2 f0"), 0u);
    EXPECT_THAT(TakeSteps(), ElementsAre(L"a.create", L"a.Init", L"d.create", L"d.Init", L"d.Start", L"a.Start",
                                         L"b.create", L"b.Init", L"b.Start", L"c.create", L"c.Init", L"c.Start"));
    ASSERT_EQ(Unload(), 0u);
    EXPECT_THAT(TakeSteps(), ElementsAre(L"b.Stop", L"c.Stop", L"a.Stop", L"d.Stop", L"b.UnInit", L"c.UnInit",
                                         L"a.UnInit", L"d.UnInit", L"b.destroy", L"c.destroy", L"a.destroy",
                                         L"d.destroy"));
    EXPECT_FALSE(IsLibraryLoaded());
    EXPECT_EQ(Unload(), 0u) << "nothing is loaded";
    ASSERT_EQ(Load("e1"), 0u) << "a list after a list";
}

TEST_F(ComponentManager, AnswersRequestsByNameAndCountsThem) {
    ASSERT_EQ(Load("a2 f0"), 0u);
    IComponentManager* const manager = m_main->GetComponentManager();
    void* first = nullptr;
    void* second = nullptr;
    ASSERT_EQ(manager->GetPlugin(L"a", &IServPlugin::kIdentifier, &first), 0u);
    ASSERT_EQ(manager->GetPlugin(L"a", &IVxBaseInterface::kIdentifier, &second), 0u);
    EXPECT_EQ(first, second);
    EXPECT_EQ(manager->GetPlugin(L"a", &IServMain::kIdentifier, &second), 632u);
    EXPECT_EQ(second, nullptr);
    EXPECT_EQ(Get(m_main.get(), L"A"), static_cast<uint32_t>(ERROR_NOT_FOUND));
    EXPECT_EQ(Get(m_main.get(), L"f"), static_cast<uint32_t>(ERROR_SERVICE_DISABLED));
    EXPECT_EQ(Get(m_main.get(), nullptr), static_cast<uint32_t>(ERROR_INVALID_PARAMETER));
    for (int i = 0; i < 4; ++i) manager->ReleasePlugin(L"a");  // two too many
    manager->ReleasePlugin(L"nobody");
    EXPECT_THAT(TakeSteps(), ElementsAre(L"a.create", L"a.Init", L"a.Start")) << "lives until the unload";

    EXPECT_EQ(Load("b1"), static_cast<uint32_t>(ERROR_ALREADY_INITIALIZED));
    EXPECT_THAT(m_main->LastFailure(), HasSubstr(L"loaded already"));
    EXPECT_EQ(Get(m_main.get(), L"a"), 0u) << "the first list is still in force";
}

TEST_F(ComponentManager, AFailedPluginIsDestroyedAndTriedAgain) {
    uint32_t initError = ERROR_ACCESS_DENIED;
    uint32_t startError = ERROR_TIMEOUT;
    On(L"a.Init", [&](IServMain*) { return std::exchange(initError, 0); });
    On(L"a.Start", [&](IServMain*) { return std::exchange(startError, 0); });
    ASSERT_EQ(Load("a2"), 0u);
    EXPECT_EQ(Get(m_main.get(), L"a"), static_cast<uint32_t>(ERROR_ACCESS_DENIED));
    EXPECT_THAT(TakeSteps(), ElementsAre(L"a.create", L"a.Init", L"a.destroy"));
    EXPECT_EQ(Get(m_main.get(), L"a"), static_cast<uint32_t>(ERROR_TIMEOUT));
    EXPECT_THAT(TakeSteps(), ElementsAre(L"a.create", L"a.Init", L"a.Start", L"a.UnInit", L"a.destroy"));
    EXPECT_EQ(Get(m_main.get(), L"a"), 0u);
}

TEST_F(ComponentManager, APluginThatFailsToStartStaysInMemoryForThoseWhoTookIt) {
    On(L"a.Start", [](IServMain* main) {
        EXPECT_EQ(Get(main, L"b"), 0u);
        return static_cast<uint32_t>(ERROR_TIMEOUT);
    });
    On(L"b.Init", [](IServMain* main) { return Get(main, L"a"); });
    ASSERT_EQ(Load("a2 b2"), 0u);
    EXPECT_EQ(Get(m_main.get(), L"a"), static_cast<uint32_t>(ERROR_TIMEOUT));
    EXPECT_THAT(TakeSteps(), ElementsAre(L"a.create", L"a.Init", L"a.Start", L"b.create", L"b.Init", L"b.Start",
                                         L"a.UnInit"));
    ASSERT_EQ(Unload(), 0u);
    EXPECT_THAT(TakeSteps(), ElementsAre(L"b.Stop", L"b.UnInit", L"b.destroy", L"a.destroy"));
}

TEST_F(ComponentManager, RefusesAPluginWhoseInitLeadsBackToItself) {
    uint32_t inner = 0;
    On(L"a.Init", [](IServMain* main) { return Get(main, L"b"); });
    On(L"b.Init", [&](IServMain* main) { return inner = Get(main, L"a"); });
    ASSERT_EQ(Load("a1 b2"), static_cast<uint32_t>(ERROR_CIRCULAR_DEPENDENCY));
    EXPECT_EQ(inner, static_cast<uint32_t>(ERROR_CIRCULAR_DEPENDENCY));
    EXPECT_FALSE(IsLibraryLoaded());
}

TEST_F(ComponentManager, AFailedLoadLeavesNothingAndSaysWhy) {
    On(L"b.Start", [](IServMain*) { return static_cast<uint32_t>(ERROR_ACCESS_DENIED); });
    EXPECT_EQ(Load("a1 b1 c1"), static_cast<uint32_t>(ERROR_ACCESS_DENIED));
    EXPECT_THAT(TakeSteps(), ElementsAre(L"a.create", L"a.Init", L"a.Start", L"b.create", L"b.Init", L"b.Start",
                                         L"b.UnInit", L"b.destroy", L"a.Stop", L"a.UnInit", L"a.destroy"));
    EXPECT_THAT(m_main->LastFailure(), testing::StartsWith(L"The plug-in \"b\" of "));
    EXPECT_THAT(m_main->LastFailure(), HasSubstr(L"can't be started: Access denied (5)."));
    EXPECT_FALSE(IsLibraryLoaded());

    EXPECT_EQ(Load("a1", "nowhere.dll"), static_cast<uint32_t>(ERROR_MOD_NOT_FOUND));
    EXPECT_THAT(m_main->LastFailure(), HasSubstr(L"nowhere.dll can't be loaded: "));
    EXPECT_EQ(Load("a1", "C:\\windows\\system32\\version.dll"), static_cast<uint32_t>(ERROR_PROC_NOT_FOUND));
    EXPECT_THAT(m_main->LastFailure(), HasSubstr(L"version.dll can't be created: "));
    EXPECT_EQ(m_main->GetPluginLoader()->LoadPlugins(nullptr), static_cast<uint32_t>(ERROR_INVALID_PARAMETER));
    EXPECT_STRNE(m_main->LastFailure(), L"");

    On(L"c.Init", [](IServMain* main) { return Get(main, L"b"); });
    EXPECT_EQ(Load("c1 b2"), static_cast<uint32_t>(ERROR_ACCESS_DENIED));
    EXPECT_THAT(m_main->LastFailure(), HasSubstr(L"can't be initialised: the plug-in \"b\" of ")) << "the cause too";

    ASSERT_EQ(Load("a1"), 0u);
    EXPECT_STREQ(m_main->LastFailure(), L"");
}

TEST_F(ComponentManager, ServesWhatRunsWhileAnotherPluginIsCreated) {
    ASSERT_EQ(Load("a1 b2 c2"), 0u);
    const KernelHandle inside(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const KernelHandle goOn(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const auto block = [&](IServMain*) {
        SetEvent(inside.Get());
        return static_cast<uint32_t>(WaitForSingleObject(goOn.Get(), kPatienceMs));
    };
    On(L"b.Init", block);
    On(L"c.Start", block);
    for (const wchar_t* const name : {L"b", L"c"}) {
        ResetEvent(inside.Get());
        ResetEvent(goOn.Get());
        uint32_t result = ERROR_TIMEOUT;
        std::thread creator([&] { result = Get(m_main.get(), name); });
        EXPECT_EQ(WaitForSingleObject(inside.Get(), kPatienceMs), WAIT_OBJECT_0);
        EXPECT_EQ(Get(m_main.get(), L"a"), 0u);
        if (*name == L'c') {
            EXPECT_EQ(Get(m_main.get(), L"c"), 0u) << "from the end of its Init";
        }
        SetEvent(goOn.Get());
        creator.join();
        EXPECT_EQ(result, 0u);
    }
}

TEST_F(ComponentManager, ConcurrentRequestsMakeOnePluginOnce) {
    ASSERT_EQ(Load("a2 b2 c2"), 0u);
    On(L"a.Init", [](IServMain* main) { return Get(main, L"b"); });
    std::atomic<uint32_t> failures = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 6; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 200; ++i) {
                const wchar_t* const names[] = {L"a", L"b", L"c"};
                if (Get(m_main.get(), names[(i + t) % 3]) != 0) ++failures;
                m_main->GetComponentManager()->ReleasePlugin(names[(i + t) % 3]);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(failures, 0u);
    EXPECT_EQ(TakeSteps().size(), 9u);
}

TEST_F(ComponentManager, DuringUnloadServesWhatLivesAndCreatesNothing) {
    std::vector<uint32_t> answers;
    const auto ask = [&](IServMain* main) {
        for (const wchar_t* const name : {L"a", L"b", L"c"}) answers.push_back(Get(main, name));
        answers.push_back(main->GetPluginLoader()->UnloadPlugins());
        return 0u;
    };
    On(L"a.Stop", ask);
    On(L"a.UnInit", ask);
    ASSERT_EQ(Load("a1 b1 c2"), 0u);
    ASSERT_EQ(Unload(), 0u);
    constexpr uint32_t kRefused = ERROR_SHUTDOWN_IN_PROGRESS;
    constexpr uint32_t kBusy = ERROR_BUSY;
    EXPECT_THAT(answers, ElementsAre(0u, 0u, kRefused, kBusy, kRefused, kRefused, kRefused, kBusy));
    EXPECT_EQ(Get(m_main.get(), L"a"), static_cast<uint32_t>(ERROR_NOT_FOUND));
}

TEST_F(ComponentManager, UnloadWaitsForACreationInProgressAndRefusesToWaitForItself) {
    ASSERT_EQ(Load("a2"), 0u);
    const KernelHandle inside(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    uint32_t fromInside = 0;
    On(L"a.Start", [&](IServMain* main) {
        fromInside = main->GetPluginLoader()->UnloadPlugins();
        SetEvent(inside.Get());
        while (Get(main, L"nobody") == 0 || Get(main, L"a") == ERROR_SUCCESS) {
            if (main->GetPluginLoader()->UnloadPlugins() == ERROR_BUSY) break;  // the other thread's has begun
            SwitchToThread();
        }
        return 0u;
    });
    std::thread creator([&] { Get(m_main.get(), L"a"); });
    EXPECT_EQ(WaitForSingleObject(inside.Get(), kPatienceMs), WAIT_OBJECT_0);
    EXPECT_EQ(Unload(), 0u);
    creator.join();
    EXPECT_EQ(fromInside, static_cast<uint32_t>(ERROR_POSSIBLE_DEADLOCK));
    EXPECT_THAT(TakeSteps(),
                ElementsAre(L"a.create", L"a.Init", L"a.Start", L"a.Stop", L"a.UnInit", L"a.destroy"));
}

TEST_F(ComponentManager, TheLibraryMakesIndependentHostsAgainAndAgain) {
    for (int round = 0; round < 2; ++round) {
        optimizer::ExportedObject<IServMain> one;
        optimizer::ExportedObject<IServMain> two;
        ASSERT_EQ(one.Load(L"framework.dll", L"servmain"), 0u);
        ASSERT_EQ(two.Load(L"framework.dll", kServMainName), 0u);
        EXPECT_NE(one.Get(), two.Get());
        EXPECT_EQ(one.Get()->QueryInterface(&IServPlugin::kIdentifier), nullptr);
        ASSERT_EQ(one.Get()->GetEventQueue()->Start(2), 0u);
        EXPECT_EQ(two.Get()->GetEventQueue()->Start(2), 0u);
        auto* const diagnostics =
            static_cast<IHostDiagnostics*>(one.Get()->QueryInterface(&IHostDiagnostics::kIdentifier));
        ASSERT_NE(diagnostics, nullptr);
        EXPECT_NE(one.Get()->GetPluginLoader()->LoadPlugins(L"C:\\no such folder\\list.xml"), 0u);
        EXPECT_THAT(diagnostics->LastFailure(), HasSubstr(L"no such folder"));
        EXPECT_EQ(diagnostics->QueryInterface(&IVxBaseInterface::kIdentifier), one.Get());
    }
}

}  // namespace
}  // namespace host
