// What subscribers of the engine hear, and with which user.
#include "profile/optimizer_plugin.h"

#include "frame/vx_string.h"
#include "tests/profile/engine_fixture.h"
#include "tests/support/simulated_users.h"

namespace optimizer {
namespace {

struct Subscriber final : IOptimizerEvents {
    void OnTaskFinished(const wchar_t*, const uint32_t*, uint32_t) override {}
    void OnProfileChanged(const wchar_t* user, const profile*) override { Add(user, L"changed"); }
    void OnActionsExecuted(const wchar_t* user, const profile*) override { Add(user, L"executed"); }
    void OnProfileConfigChanged(const wchar_t* user, const profile*) override { Add(user, L"config"); }
    void OnOptimizerModuleEnableChanged(const wchar_t* user, bool on) override {
        Add(user, on ? L"on" : L"off");
    }
    void OnOptimizerProcessOptimized(const wchar_t*, uint32_t) override {}

    void Add(const wchar_t* user, const wchar_t* what) { all.push_back(std::wstring(user) + L":" + what); }
    std::vector<std::wstring> Take() { return std::exchange(all, {}); }
    std::vector<std::wstring> all;
};

using Events = std::vector<std::wstring>;

using OptimizerPluginTest = test_support::EngineFixture;

TEST_F(OptimizerPluginTest, SubscribersHearOfRequestsWithTheUserWhoIsLoggedOn) {
    COptimizerPlugin plugin;
    Subscriber subscriber;
    EXPECT_EQ(plugin.AddEventsObserver(&subscriber), 0U);
    profile game = profile::Game;
    ASSERT_EQ(plugin.Init(&m_host), 0U);
    ASSERT_EQ(plugin.Start(), 0U);
    m_host.queue.RunAll();
    subscriber.Take();

    EXPECT_EQ(plugin.SetModuleEnable(false), 0U);
    EXPECT_EQ(subscriber.Take(), (Events{L"DOM\\ann:off"})) << "told although the state was the same";
    vx::String broken(L"{broken");
    EXPECT_EQ(plugin.SetProfileConfig(&game, &broken), uint32_t{ERROR_GEN_FAILURE});
    EXPECT_EQ(subscriber.Take(), (Events{L"DOM\\ann:config"})) << "told although nothing was stored";
    EXPECT_EQ(plugin.SetProfile(&game), 0U);
    EXPECT_EQ(subscriber.Take(), (Events{L"DOM\\ann:changed"}));
    test_support::SetSimulatedUser(L"", L"", 0);
    EXPECT_EQ(plugin.SetModuleEnable(false), 0U);
    EXPECT_EQ(subscriber.Take(), (Events{L":off"})) << "nobody is logged on";
    EXPECT_EQ(plugin.Stop(), 0U);
    plugin.UnInit();
    EXPECT_EQ(plugin.RemoveEventsObserver(&subscriber), 0U);
}

}  // namespace
}  // namespace optimizer
