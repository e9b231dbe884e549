// Plug-ins from the list to the unload, through the host's main object. The plug-ins come from a library of
// the test's own and do what the test tells them at each step.
#include <algorithm>
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
    std::wstring steps;                                              // guarded by lock
    std::map<std::wstring, std::function<int(IServMain*)>> actions;  // set before the first step
};
Script* g_script = nullptr;

}  // namespace

extern "C" __declspec(dllexport) uint32_t
    OnPluginStep(const wchar_t* plugin, const wchar_t* step, IServMain* main) {
    const std::wstring name = std::wstring(plugin) + L"." + step;
    {
        std::lock_guard guard(g_script->lock);
        g_script->steps += name + L" ";
    }
    const auto action = g_script->actions.find(name);
    return action != g_script->actions.end() ? static_cast<uint32_t>(action->second(main)) : 0;
}

namespace host {
namespace {

using optimizer::KernelHandle;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr DWORD kPatienceMs = 10000;

int Get(IServMain* main, const wchar_t* name, const Identifier& iid = IServPlugin::kIdentifier) {
    void* plugin = nullptr;
    return static_cast<int>(main->GetComponentManager()->GetPlugin(name, &iid, &plugin));
}

class ComponentManager : public testing::Test {
protected:
    ComponentManager() { g_script = &m_script; }
    ~ComponentManager() override {
        m_main.reset();
        g_script = nullptr;
    }

    /// `plugins` is a list such as "a1 b2", names with their startup.
    int Load(const std::string& plugins, const std::string& library = "framework_test_plugin.dll") {
        std::string text = "<settings><plugins>";
        for (size_t i = 0; i < plugins.size(); i += 3) {
            text += std::string("<plugin name=\"") + plugins[i] + "\" dll=\"" + library + "\" startup=\"" +
                    plugins[i + 1] + "\"/>";
        }
        test_support::WriteFileText(m_path, text + "</plugins></settings>");
        return static_cast<int>(m_main->GetPluginLoader()->LoadPlugins(m_path.c_str()));
    }

    int Unload() { return static_cast<int>(m_main->GetPluginLoader()->UnloadPlugins()); }
    void On(const wchar_t* step, std::function<int(IServMain*)> action) { m_script.actions[step] = action; }
    std::wstring TakeSteps() { return std::exchange(m_script.steps, {}); }
    static bool IsLibraryLoaded() { return GetModuleHandleW(L"framework_test_plugin.dll") != nullptr; }

    Script m_script;
    test_support::TemporaryFolder m_folder;
    const std::wstring m_path = m_folder.File(L"plugins.xml");
    std::unique_ptr<CServMain> m_main = std::make_unique<CServMain>();
};

TEST_F(ComponentManager, StartsInListOrderAndEndsInTheReverseOrderOfTheStarts) {
    On(L"a.Init", [](IServMain* main) { return Get(main, L"d"); });
    On(L"b.Start", [](IServMain* main) { return Get(main, L"c"); });
    ASSERT_EQ(Load("a1 b1 c1 d2 e2 f0"), 0);
    EXPECT_EQ(TakeSteps(),
              L"a.create a.Init d.create d.Init d.Start a.Start "
              L"b.create b.Init b.Start c.create c.Init c.Start ");
    ASSERT_EQ(Unload(), 0);
    EXPECT_EQ(TakeSteps(),
              L"b.Stop c.Stop a.Stop d.Stop b.UnInit c.UnInit a.UnInit d.UnInit "
              L"b.destroy c.destroy a.destroy d.destroy ");
    EXPECT_FALSE(IsLibraryLoaded());
    EXPECT_EQ(Unload(), 0) << "nothing is loaded";
    ASSERT_EQ(Load("e1"), 0) << "a list after a list";
}

TEST_F(ComponentManager, AnswersRequestsByNameAndCountsThem) {
    ASSERT_EQ(Load("a2 f0"), 0);
    EXPECT_EQ(Get(m_main.get(), L"a"), 0);
    EXPECT_EQ(Get(m_main.get(), L"a", IVxBaseInterface::kIdentifier), 0);
    EXPECT_EQ(Get(m_main.get(), L"a", IServMain::kIdentifier), 632);
    EXPECT_EQ(Get(m_main.get(), L"A"), ERROR_NOT_FOUND);
    EXPECT_EQ(Get(m_main.get(), L"f"), ERROR_SERVICE_DISABLED);
    EXPECT_EQ(Get(m_main.get(), nullptr), ERROR_INVALID_PARAMETER);
    for (const wchar_t* const name : {L"a", L"a", L"a", L"nobody"}) {
        m_main->GetComponentManager()->ReleasePlugin(name);  // one too many, and one unknown
    }
    EXPECT_EQ(TakeSteps(), L"a.create a.Init a.Start ") << "lives until the unload";

    EXPECT_EQ(Load("b1"), ERROR_ALREADY_INITIALIZED);
    EXPECT_THAT(m_main->LastFailure(), HasSubstr(L"loaded already"));
    EXPECT_EQ(Get(m_main.get(), L"a"), 0) << "the first list is still in force";
}

TEST_F(ComponentManager, AFailedPluginIsDestroyedAndTriedAgain) {
    int initError = ERROR_ACCESS_DENIED;
    int startError = ERROR_TIMEOUT;
    On(L"a.Init", [&](IServMain*) { return std::exchange(initError, 0); });
    On(L"a.Start", [&](IServMain*) { return std::exchange(startError, 0); });
    ASSERT_EQ(Load("a2"), 0);
    EXPECT_EQ(Get(m_main.get(), L"a"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(TakeSteps(), L"a.create a.Init a.destroy ");
    EXPECT_EQ(Get(m_main.get(), L"a"), ERROR_TIMEOUT);
    EXPECT_EQ(TakeSteps(), L"a.create a.Init a.Start a.UnInit a.destroy ");
    EXPECT_EQ(Get(m_main.get(), L"a"), 0);
}

TEST_F(ComponentManager, APluginThatFailsToStartStaysInMemoryForThoseWhoTookIt) {
    On(L"a.Start", [](IServMain* main) { return Get(main, L"b") + ERROR_TIMEOUT; });
    On(L"b.Init", [](IServMain* main) { return Get(main, L"a"); });
    ASSERT_EQ(Load("a2 b2"), 0);
    EXPECT_EQ(Get(m_main.get(), L"a"), ERROR_TIMEOUT);
    EXPECT_EQ(TakeSteps(), L"a.create a.Init a.Start b.create b.Init b.Start a.UnInit ");
    ASSERT_EQ(Unload(), 0);
    EXPECT_EQ(TakeSteps(), L"b.Stop b.UnInit b.destroy a.destroy ");
}

TEST_F(ComponentManager, AFailedLoadLeavesNothingAndSaysWhy) {
    On(L"b.Start", [](IServMain*) { return ERROR_ACCESS_DENIED; });
    EXPECT_EQ(Load("a1 b1 c1"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(TakeSteps(),
              L"a.create a.Init a.Start b.create b.Init b.Start b.UnInit b.destroy "
              L"a.Stop a.UnInit a.destroy ");
    EXPECT_FALSE(IsLibraryLoaded());
    EXPECT_THAT(m_main->LastFailure(), testing::StartsWith(L"The plug-in \"b\" of "));
    EXPECT_THAT(m_main->LastFailure(), HasSubstr(L"can't be started: Access denied (5)."));

    On(L"c.Init", [](IServMain* main) { return Get(main, L"b"); });
    EXPECT_EQ(Load("c1 b2"), ERROR_ACCESS_DENIED);
    EXPECT_THAT(m_main->LastFailure(), HasSubstr(L"can't be initialised: the plug-in \"b\" of "))
        << "the cause";
    On(L"b.Init", [](IServMain* main) { return Get(main, L"c"); });
    EXPECT_EQ(Load("c1 b2"), ERROR_CIRCULAR_DEPENDENCY);

    EXPECT_EQ(Load("a1", "nowhere.dll"), ERROR_MOD_NOT_FOUND);
    EXPECT_THAT(m_main->LastFailure(), HasSubstr(L"nowhere.dll can't be loaded: "));
    EXPECT_EQ(Load("a1", "C:\\windows\\system32\\version.dll"), ERROR_PROC_NOT_FOUND);
    EXPECT_THAT(m_main->LastFailure(), HasSubstr(L"version.dll can't be created: "));
    ASSERT_EQ(Load("a1"), 0);
    EXPECT_STREQ(m_main->LastFailure(), L"");
}

TEST_F(ComponentManager, ServesWhatRunsWhileAnotherPluginIsCreated) {
    const KernelHandle inside(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    const KernelHandle goOn(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    const auto block = [&](IServMain*) {
        SetEvent(inside.Get());
        return static_cast<int>(WaitForSingleObject(goOn.Get(), kPatienceMs));
    };
    On(L"b.Init", block);
    On(L"c.Start", block);
    ASSERT_EQ(Load("a1 b2 c2"), 0);
    for (const wchar_t* const name : {L"b", L"c"}) {
        std::thread creator([&] { EXPECT_EQ(Get(m_main.get(), name), 0); });
        EXPECT_EQ(WaitForSingleObject(inside.Get(), kPatienceMs), WAIT_OBJECT_0);
        EXPECT_EQ(Get(m_main.get(), L"a"), 0);
        if (*name == L'c') {
            EXPECT_EQ(Get(m_main.get(), L"c"), 0) << "from the end of its Init";
        }
        SetEvent(goOn.Get());
        creator.join();
    }
}

TEST_F(ComponentManager, ConcurrentRequestsMakeEachPluginOnce) {
    On(L"a.Init", [](IServMain* main) { return Get(main, L"b"); });
    ASSERT_EQ(Load("a2 b2 c2"), 0);
    std::atomic<int> failures = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 6; ++t) {
        threads.emplace_back([&, t] {
            for (int i = t; i < 200; ++i) {
                const wchar_t name[] = {static_cast<wchar_t>(L'a' + i % 3), 0};
                if (Get(m_main.get(), name) != 0) ++failures;
                m_main->GetComponentManager()->ReleasePlugin(name);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(std::ranges::count(TakeSteps(), L' '), 9);
}

TEST_F(ComponentManager, DuringUnloadServesWhatLivesAndCreatesNothing) {
    std::vector<int> answers;
    const auto ask = [&](IServMain* main) {
        for (const wchar_t* const name : {L"a", L"b", L"c"})
            answers.push_back(Get(main, name));
        answers.push_back(Unload());
        return 0;
    };
    On(L"a.Stop", ask);
    On(L"b.UnInit", ask);
    ASSERT_EQ(Load("a1 b1 c2"), 0);
    ASSERT_EQ(Unload(), 0);
    constexpr int kRefused = ERROR_SHUTDOWN_IN_PROGRESS;
    EXPECT_THAT(answers, ElementsAre(0, 0, kRefused, ERROR_BUSY, 0, kRefused, kRefused, ERROR_BUSY));
    EXPECT_EQ(Get(m_main.get(), L"a"), ERROR_NOT_FOUND);
}

TEST_F(ComponentManager, UnloadWaitsForACreationInProgressAndRefusesToWaitForItself) {
    const KernelHandle inside(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    On(L"a.Start", [&](IServMain*) {
        EXPECT_EQ(Unload(), ERROR_POSSIBLE_DEADLOCK);
        SetEvent(inside.Get());
        // Until the other thread's unload has begun.
        const ULONGLONG deadline = GetTickCount64() + kPatienceMs;
        while (Unload() != ERROR_BUSY && GetTickCount64() < deadline)
            SwitchToThread();
        return 0;
    });
    ASSERT_EQ(Load("a2"), 0);
    std::thread creator([&] { Get(m_main.get(), L"a"); });
    EXPECT_EQ(WaitForSingleObject(inside.Get(), kPatienceMs), WAIT_OBJECT_0);
    EXPECT_EQ(Unload(), 0);
    creator.join();
    EXPECT_EQ(TakeSteps(), L"a.create a.Init a.Start a.Stop a.UnInit a.destroy ");
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
