// The Windows Update action against a class of the test's own in place of the agent's.
#include "actions/postpone_windows_update.h"

#include <gtest/gtest.h>

#include "actions/automatic_updates.h"
#include "tests/actions/simulated_system.h"
#include "tests/support/simulated_log.h"

#include <objbase.h>

namespace optimizer {
namespace {

using Calls = std::vector<std::string>;

/// The settings and what is asked of them. A step named in `errors` fails; "null" gives no object.
struct Agent {
    HRESULT Do(const std::string& step) {
        calls.push_back(step);
        const auto error = errors.find(step);
        return error != errors.end() ? error->second : S_OK;
    }

    int level = 3;
    VARIANT_BOOL recommended = VARIANT_FALSE;
    std::map<std::string, HRESULT> errors;
    Calls calls;
    int references = 0;
};
Agent* g_agent = nullptr;

/// An object that lives as long as the program and answers for everything that it is asked for.
template <class Interface>
struct Object : Interface {
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        const bool settings2 = iid == IAutomaticUpdatesSettings2::kIdentifier;
        const HRESULT result = settings2 ? g_agent->Do("settings2") : S_OK;
        *out = result == S_OK ? static_cast<Interface*>(this) : nullptr;
        if (result == S_OK) AddRef();
        return result;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++g_agent->references; }
    ULONG STDMETHODCALLTYPE Release() override { return --g_agent->references; }
};

template <class Interface>
struct Dispatch : Object<Interface> {
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                                     UINT*) override {
        return E_NOTIMPL;
    }
};

struct Settings final : Dispatch<IAutomaticUpdatesSettings2> {
    using Level = AutomaticUpdatesNotificationLevel;
    using Day = AutomaticUpdatesScheduledInstallationDay;

    HRESULT STDMETHODCALLTYPE get_NotificationLevel(Level* level) override {
        *level = static_cast<Level>(g_agent->level);
        return g_agent->Do("get level");
    }
    HRESULT STDMETHODCALLTYPE put_NotificationLevel(Level level) override {
        return g_agent->Do("level " + std::to_string(level));
    }
    HRESULT STDMETHODCALLTYPE get_ReadOnly(VARIANT_BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Required(VARIANT_BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_ScheduledInstallationDay(Day*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE put_ScheduledInstallationDay(Day) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_ScheduledInstallationTime(LONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE put_ScheduledInstallationTime(LONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Refresh() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Save() override { return g_agent->Do("save"); }
    HRESULT STDMETHODCALLTYPE get_IncludeRecommendedUpdates(VARIANT_BOOL* included) override {
        *included = g_agent->recommended;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE put_IncludeRecommendedUpdates(VARIANT_BOOL included) override {
        return g_agent->Do("recommended " + std::to_string(included));
    }
    HRESULT STDMETHODCALLTYPE CheckPermission(int, int, VARIANT_BOOL*) override { return E_NOTIMPL; }
} g_settings;

struct Updates final : Dispatch<IAutomaticUpdates> {
    HRESULT STDMETHODCALLTYPE DetectNow() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Pause() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Resume() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ShowSettingsDialog() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Settings(IAutomaticUpdatesSettings** out) override {
        *out = nullptr;
        const HRESULT result = g_agent->Do("settings");
        if (result != S_OK || g_agent->errors.contains("null")) return result;
        *out = &g_settings;
        g_settings.AddRef();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_ServiceEnabled(VARIANT_BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE EnableService() override { return E_NOTIMPL; }
} g_updates;

struct Factory final : Object<IClassFactory> {
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID iid, void** out) override {
        const HRESULT result = g_agent->Do("create");
        return result == S_OK ? g_updates.QueryInterface(iid, out) : result;
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
} g_factory;

PostponeAutomaticUpdateParams Params(int32_t level, bool recommended) {
    PostponeAutomaticUpdateParams parameters;
    parameters.notificationLevel = level;
    parameters.recommendedUpdates = recommended;
    return parameters;
}

class PostponeUpdate : public testing::Test {
protected:
    PostponeUpdate() {
        g_agent = &agent;
        CoInitialize(nullptr);
        EXPECT_EQ(CoRegisterClassObject(__uuidof(AutomaticUpdates), &g_factory, CLSCTX_INPROC_SERVER,
                                        REGCLS_MULTIPLEUSE, &m_registration),
                  S_OK);
        m_references = agent.references;
    }
    ~PostponeUpdate() override {
        EXPECT_EQ(agent.references, m_references) << "every object is released";
        CoRevokeClassObject(m_registration);
        CoUninitialize();
        test_support::g_system = {};
    }
    Calls Take() { return std::exchange(agent.calls, {}); }
    PostponeAutomaticUpdateParams Found() {
        return dynamic_cast<PostponeAutomaticUpdateParams&>(*action.GetRevertParameters());
    }

    Agent agent;
    test_support::TraceRecorder traces;
    CPostponeWindowsUpdate action{Params(2, false)};

private:
    DWORD m_registration = 0;
    int m_references = 0;
};

TEST_F(PostponeUpdate, StartChangesBothAndRevertOnlyWhatDiffers) {
    const Calls start = {"create", "settings", "get level", "settings2",     "settings", "level 2",
                         "save",   "settings", "settings2", "recommended 0", "save"};
    EXPECT_EQ(action.Start(), 0u);
    EXPECT_EQ(Take(), start);
    EXPECT_TRUE(Found() == Params(3, false));
    EXPECT_EQ(action.Revert(), 0u);
    EXPECT_EQ(Take(), (Calls{"create", "settings", "level 3", "save"}));
    PostponeAutomaticUpdateParams first = Params(2, false);
    EXPECT_FALSE(action.HasSameParameters(&first)) << "it wants now what it found";

    PostponeAutomaticUpdateParams next = Params(3, true);
    EXPECT_EQ(action.Update(&next), 0u);
    EXPECT_EQ(Take(), (Calls{"create", "settings", "settings2", "recommended -1", "save"}));
    EXPECT_EQ(action.Update(&next), 0u);
    EXPECT_EQ(Take(), (Calls{"create"}));
    EXPECT_EQ(action.SetRevertParameters(nullptr), 0u);
    EXPECT_TRUE(Found() == Params(3, false));
}

TEST_F(PostponeUpdate, FailuresOfAStartBeforeAndSinceVista) {
    const struct {
        const char* step;
        uint32_t result;
        uint32_t legacyResult;
        bool triesRecommended;
        const wchar_t* trace;
    } cases[] = {
        {"create", 31, 31, false, nullptr},
        {"settings", 31, 31, false, L"Unable to set automatic updates"},
        {"null", 31, 31, false,
         L"AutomaticUpdatesNotificationLevel - IAutomaticUpdatesSettings pointer is null!"},
        {"level 2", 31, 31, false, nullptr},
        {"save", 31, 31, false, nullptr},
        {"settings2", 31, 0, false, L"Could not query IAutomaticUpdatesSettings2 interface."},
        {"recommended 0", 31, 0, true, L"Unable to set recommended updates."},
        {"get level", 0, 0, true, nullptr},
    };
    for (const auto& test : cases) {
        for (const bool legacy : {true, false}) {
            SCOPED_TRACE(test.step);
            test_support::g_system.isOlderThanVista = legacy;
            agent.errors = {{test.step, E_FAIL}};
            EXPECT_EQ(action.Start(), legacy ? test.legacyResult : test.result);
            const Calls calls = Take();
            EXPECT_EQ(std::count(calls.begin(), calls.end(), "recommended 0"), test.triesRecommended ? 1 : 0);
        }
        EXPECT_TRUE(test.trace == nullptr || traces.Has(test.trace)) << test.step;
    }
    EXPECT_TRUE(Found() == Params(4, true)) << "the defaults of a snapshot that failed are kept";
}

TEST_F(PostponeUpdate, AFailedUpdateKeepsTheParameters) {
    const struct {
        const char* step;
        bool legacy;
        uint32_t result;
        bool taken;
    } cases[] = {
        {"level 3", false, 31, false},
        {"recommended -1", false, 31, false},
        {"recommended -1", true, 0, true},
    };
    for (const auto& test : cases) {
        test_support::g_system.isOlderThanVista = test.legacy;
        agent.errors = {{test.step, S_FALSE}};
        PostponeAutomaticUpdateParams next = Params(3, true);
        EXPECT_EQ(action.Update(&next), test.result);
        EXPECT_EQ(action.HasSameParameters(&next), test.taken);
    }
}

}  // namespace
}  // namespace optimizer
