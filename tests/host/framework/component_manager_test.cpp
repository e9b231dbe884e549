// Plug-ins from the list to the unload, through the host's main object. The plug-ins come from a library of
// the test's own and do what the test tells them at each step.
#include <functional>
#include <map>
#include <mutex>
#include <thread>

#include <windows.h>

#include <gmock/gmock.h>

#include "frame/handles.h"
#include "framework/serv_main.h"
#include "tools/rig/temporary_folder.h"

namespace {

/// What happened, in order, and what the test wants to happen at a step such as "a.Init".
struct Script {
    std::mutex lock;
    std::wstring steps;                                    // guarded by lock
    std::map<std::wstring, std::function<int()>> actions;  // set before the first step
};
Script* g_script = nullptr;

}  // namespace

extern "C" __declspec(dllexport) uint32_t OnPluginStep(const std::wstring& step) {
    {
        std::lock_guard guard(g_script->lock);
        g_script->steps += step + L" ";
    }
    const auto action = g_script->actions.find(step);
    return action != g_script->actions.end() ? static_cast<uint32_t>(action->second()) : 0;
}

namespace host {
namespace {

using testing::HasSubstr;

constexpr DWORD kPatienceMs = 10000;

class ComponentManager : public testing::Test {
protected:
    ComponentManager() { g_script = &m_script; }

    /// `plugins` is a list such as "a1 b2", names with their startup.
    int Load(const std::string& plugins, const std::string& library = "framework_test_plugin.dll") {
        std::string text = "<settings><plugins>";
        for (size_t i = 0; i < plugins.size(); i += 3) {
            text += std::string("<plugin name=\"") + plugins[i] + "\" dll=\"" + library + "\" startup=\"" +
                    plugins[i + 1] + "\"/>";
        }
        rig::WriteFileText(m_path, text + "</plugins></settings>");
        return static_cast<int>(m_main.GetPluginLoader()->LoadPlugins(m_path.c_str()));
    }
    int Unload() { return static_cast<int>(m_main.GetPluginLoader()->UnloadPlugins()); }
    int Get(const wchar_t* name) {
        void* out = nullptr;
        return static_cast<int>(
            m_main.GetComponentManager()->GetPlugin(name, &IServPlugin::kIdentifier, &out));
    }
    void On(const wchar_t* step, std::function<int()> action) { m_script.actions[step] = action; }
    std::wstring TakeSteps() { return std::exchange(m_script.steps, {}); }
    static bool IsLibraryLoaded() { return GetModuleHandleW(L"framework_test_plugin.dll") != nullptr; }

    Script m_script;
    rig::TemporaryFolder m_folder;
    const std::wstring m_path = m_folder.File(L"plugins.xml");
    optimizer::KernelHandle m_inside{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    optimizer::KernelHandle m_goOn{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    CServMain m_main;  // declared last: its end unloads what the script still hears of
};

TEST_F(ComponentManager, StartsInListOrderAndEndsInTheReverseOrderOfTheStarts) {
    std::vector<int> answers;
    On(L"a.Init", [&] { return Get(L"d"); });
    On(L"b.Start", [&] { return Get(L"c"); });
    On(L"a.Stop", [&] { return answers = {Get(L"b"), Get(L"e"), Unload()}, 0; });
    ASSERT_EQ(Load("a1 b1 c1 d2 e2 f0"), 0);
    EXPECT_EQ(TakeSteps(),
              L"a.create a.Init d.create d.Init d.Start a.Start "
              L"b.create b.Init b.Start c.create c.Init c.Start ");
    EXPECT_EQ(Get(L"f"), ERROR_SERVICE_DISABLED);
    EXPECT_EQ(Load("b1"), ERROR_ALREADY_INITIALIZED);
    m_main.GetComponentManager()->ReleasePlugin(L"d");
    EXPECT_EQ(TakeSteps(), L"") << "lives until the unload";
    ASSERT_EQ(Unload(), 0);
    EXPECT_EQ(TakeSteps(),
              L"b.Stop c.Stop a.Stop d.Stop b.UnInit c.UnInit a.UnInit d.UnInit "
              L"b.destroy c.destroy a.destroy d.destroy ");
    EXPECT_THAT(answers, testing::ElementsAre(0, ERROR_SHUTDOWN_IN_PROGRESS, ERROR_BUSY))
        << "what lives is served, nothing is created";
    EXPECT_FALSE(IsLibraryLoaded());
    ASSERT_EQ(Load("e1"), 0) << "a list after a list";
}

TEST_F(ComponentManager, ServesWhatRunsWhileAnotherPluginIsCreatedAndMakesEachOnce) {
    const auto block = [&] {
        SetEvent(m_inside.Get());
        return static_cast<int>(WaitForSingleObject(m_goOn.Get(), kPatienceMs));
    };
    On(L"b.Init", block);
    On(L"b.Start", block);
    ASSERT_EQ(Load("a1 b2"), 0);
    std::vector<std::thread> requests;
    for (int i = 0; i < 4; ++i)
        requests.emplace_back([&] { EXPECT_EQ(Get(L"b"), 0); });
    for (const wchar_t* const served : {L"a", L"b"}) {  // "b" itself from the end of its Init
        EXPECT_EQ(WaitForSingleObject(m_inside.Get(), kPatienceMs), WAIT_OBJECT_0);
        EXPECT_EQ(Get(served), 0);
        SetEvent(m_goOn.Get());
    }
    for (std::thread& request : requests)
        request.join();
    EXPECT_EQ(TakeSteps(), L"a.create a.Init a.Start b.create b.Init b.Start ");
}

}  // namespace
}  // namespace host
