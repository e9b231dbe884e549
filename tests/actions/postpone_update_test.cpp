// The Windows Update action against an object of the test's own in place of the agent's.
#include "actions/postpone_windows_update.h"

#include <map>

#include <gtest/gtest.h>

#include "tests/actions/simulated_system.h"
#include "tests/support/simulated_log.h"
#include "tests/support/update_agent.h"

#include <objbase.h>

namespace {

std::string g_calls;                      // what the agent was asked for
std::map<std::string, HRESULT> g_errors;  // and what of it fails

HRESULT Do(const std::string& step) {
    g_calls += step + ";";
    return g_errors.contains(step) ? g_errors[step] : S_OK;
}

}  // namespace

extern "C" {
decltype(&CoInitialize) __imp_CoInitialize = [](void*) { return Do("init"); };
decltype(&CoUninitialize) __imp_CoUninitialize = [] { g_calls += "uninit;"; };
}

namespace optimizer {
namespace {

PostponeAutomaticUpdateParams Params(int32_t level, bool recommended) {
    PostponeAutomaticUpdateParams parameters;
    parameters.notificationLevel = level;
    parameters.recommendedUpdates = recommended;
    return parameters;
}

class PostponeUpdate : public testing::Test {
protected:
    PostponeUpdate() {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);  // to the end of the program
        test_support::g_updateStep = &Do;
        constexpr CLSID kAgent = {
            0xBFE18E9C, 0x6D87, 0x4450, {0xB3, 0x7C, 0xE0, 0x2F, 0x0B, 0x37, 0x38, 0x03}};
        EXPECT_EQ(CoRegisterClassObject(kAgent, reinterpret_cast<IUnknown*>(&test_support::g_updateAgent),
                                        CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &m_registration),
                  S_OK);
        m_references = test_support::g_updateReferences;
    }
    ~PostponeUpdate() override {
        EXPECT_EQ(test_support::g_updateReferences, m_references) << "every object is released";
        CoRevokeClassObject(m_registration);
        g_errors.clear();
        test_support::g_isOlderThanVista = false;
    }
    static std::string Take() { return std::exchange(g_calls, {}); }

    test_support::SimulatedPower store;
    test_support::TraceRecorder traces;

private:
    DWORD m_registration = 0;
    int m_references = 0;
};

TEST_F(PostponeUpdate, StartChangesBothAndRevertOnlyWhatDiffers) {
    CPostponeWindowsUpdate action(Params(2, false));
    EXPECT_EQ(action.Start(), 0u);
    EXPECT_EQ(
        Take(),
        "init;create;settings;get;settings2;settings;level 2;save;settings;settings2;recommended 0;save;"
        "uninit;");
    EXPECT_TRUE(dynamic_cast<PostponeAutomaticUpdateParams&>(*action.GetRevertParameters()) ==
                Params(3, false));
    EXPECT_EQ(action.Revert(), 0u);
    EXPECT_EQ(Take(), "init;create;settings;level 3;save;uninit;");
    PostponeAutomaticUpdateParams next = Params(3, true);
    EXPECT_EQ(action.Update(&next), 0u);
    EXPECT_EQ(Take(), "init;create;settings;settings2;recommended -1;save;uninit;")
        << "it wanted what it had found";
    EXPECT_EQ(action.Update(&next), 0u);
    EXPECT_EQ(Take(), "init;create;uninit;");
    g_errors = {{"init", RPC_E_CHANGED_MODE}};
    EXPECT_EQ(action.Update(&next), ERROR_GEN_FAILURE);
    EXPECT_EQ(Take(), "init;") << "a thread of somebody else's mode is refused, and left as it is";
}

TEST_F(PostponeUpdate, FailuresBeforeAndSinceVista) {
    const struct {
        const char* step;
        uint32_t result;
        uint32_t legacyResult;
        const wchar_t* trace;
    } cases[] = {
        {"init", 31, 31, nullptr},
        {"create", 31, 31, nullptr},
        {"settings", 31, 31, L"Unable to set automatic updates"},
        {"level 2", 31, 31, nullptr},
        {"settings2", 31, 0, L"Could not query IAutomaticUpdatesSettings2 interface."},
        {"recommended 0", 31, 0, L"Unable to set recommended updates."},
        {"recommended -1", 0, 0, L"Update - unable to set recommended updates."},
        {"get", 0, 0, nullptr},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.step);
        g_errors = {{test.step, E_FAIL}};
        CPostponeWindowsUpdate action(Params(2, false));
        for (const bool isLegacy : {true, false}) {
            test_support::g_isOlderThanVista = isLegacy;
            EXPECT_EQ(action.Start(), isLegacy ? test.legacyResult : test.result);
        }
        PostponeAutomaticUpdateParams next = Params(2, true);
        static_cast<void>(action.Update(&next));
        EXPECT_TRUE(test.trace == nullptr || traces.Has(test.trace));
    }
}

}  // namespace
}  // namespace optimizer
