// The power plan action against a power library that keeps its values and fails on demand.
#include "actions/power_plan.h"

#include <gtest/gtest.h>

#include "tests/actions/simulated_system.h"
#include "tests/support/simulated_power.h"

#include <winternl.h>

namespace {

std::string g_missingExport;

}  // namespace

extern "C" {
NTSTATUS NTAPI LdrGetProcedureAddress(HMODULE library, const ANSI_STRING* name, ULONG, FARPROC* address);

decltype(&GetProcAddress) __imp_GetProcAddress = [](HMODULE library, LPCSTR name) {
    ANSI_STRING text = {};
    RtlInitAnsiString(&text, name);
    FARPROC address = nullptr;
    if (g_missingExport != name) LdrGetProcedureAddress(library, &text, 0, &address);
    return address;
};
decltype(&VerifyVersionInfoW) __imp_VerifyVersionInfoW = [](LPOSVERSIONINFOEXW, DWORD, DWORDLONG) {
    return BOOL{!test_support::g_isOlderThanVista};
};
}

namespace optimizer {
namespace {

using test_support::SimulatedPower;
using Values = std::vector<uint32_t>;

constexpr GUID kVideo = {0x7516B95F, 0xF776, 0x4464, {0x8C, 0x53, 0x06, 0x16, 0x7F, 0x40, 0xCC, 0x99}};
constexpr GUID kBrightness = {0xADED5E82, 0xB909, 0x4619, {0x99, 0x49, 0xF5, 0xD7, 0x1D, 0xAC, 0x0B, 0xCB}};
constexpr GUID kDisplayOff = {0x3C0BC021, 0xC8A8, 0x4E07, {0xA9, 0x73, 0x6B, 0x14, 0xCB, 0xCB, 0x2B, 0x7E}};

PowerPlanParams Params(const std::string& text) {
    picojson::value json;
    EXPECT_EQ(picojson::parse(json, text), "");
    PowerPlanParams parameters;
    parameters.FromJson(&json);
    return parameters;
}

class PowerPlan : public testing::Test {
protected:
    PowerPlan() {
        for (size_t i = 0; i < kFound.size(); ++i)
            power.Set(names[i], kFound[i]);
    }
    ~PowerPlan() override {
        g_missingExport.clear();
        test_support::g_isOlderThanVista = false;
    }
    static std::wstring Name(const GUID& setting, bool onBattery) {
        return SimulatedPower::ValueName(kVideo, setting, onBattery);
    }
    Values Now() const {
        return {*power.Get(names[0]), *power.Get(names[1]), *power.Get(names[2]), *power.Get(names[3])};
    }

    // Brightness and display-off time, of the cable and of the battery.
    const std::wstring names[4] = {Name(kBrightness, false), Name(kDisplayOff, false),
                                   Name(kBrightness, true), Name(kDisplayOff, true)};
    const Values kFound = {70, 700, 50, 500};
    SimulatedPower power;
};

TEST_F(PowerPlan, OneSourceChangesAndOnTheBatteryTheDisplayNeverGetsBrighter) {
    const struct {
        const char* wanted;
        Values applied;
        uint32_t brightness;  // in the parameters afterwards
    } cases[] = {
        {R"({"BrightnessLevel":90,"DisplayOffTime":60,"DimTime":-1,"DimValue":"x"})", {90, 60, 50, 500}, 90},
        {R"({"OnBattery":1,"BrightnessLevel":90,"DisplayOffTime":60})", {70, 700, 50, 60}, 50},
        {R"({"OnBattery":1,"BrightnessLevel":49})", {70, 700, 49, 500}, 49},
        {R"({"OnBattery":1,"DisplayOffTime":0})", {70, 700, 50, 0}, 50},
        {R"({"OnBattery":2,"BrightnessLevel":90})", {70, 700, 50, 500}, 70},  // the cable, and yet kept down
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.wanted);
        CPowerPlan action(Params(test.wanted));
        EXPECT_EQ(action.Revert(), 31u) << "nothing to return to yet";
        EXPECT_EQ(action.Start(), 0u);
        EXPECT_EQ(Now(), test.applied);
        PowerPlanParams expected = Params(test.wanted);
        expected.brightnessLevel = test.brightness;
        EXPECT_TRUE(action.HasSameParameters(&expected));
        EXPECT_EQ(action.Start(), 0u) << "doesn't note the values a second time";
        EXPECT_EQ(action.Revert(), 0u);
        EXPECT_EQ(Now(), kFound);
    }
}

TEST_F(PowerPlan, TheNoteIsOfOnePlanAndGoesBackThere) {
    CPowerPlan action(Params(R"({"BrightnessLevel":90,"DisplayOffTime":60})"));
    EXPECT_EQ(action.Note(nullptr), 0U);
    EXPECT_EQ(Now(), kFound) << "a note changes nothing";
    EXPECT_EQ(action.Start(), 0U);
    picojson::value noted;
    action.GetRevertParameters()->ToJson(&noted);
    const PowerPlanParams battery = Params(R"({"OnBattery":1})");
    EXPECT_FALSE(action.CanUpdateTo(&battery)) << "its note is of the cable";

    // Somebody chooses another plan meanwhile.
    test_support::WritePowerRecord(test_support::kActiveScheme, kVideo);
    const uint32_t activations = power.Calls(L"PowerSetActiveScheme");
    PowerPlanParams next = Params(R"({"BrightnessLevel":80})");
    EXPECT_EQ(action.Update(&next), 0U);
    EXPECT_EQ(Now(), (Values{80, 60, 50, 500})) << "the plan that was noted";
    EXPECT_EQ(action.Revert() + action.FinishRevert(), 0U);
    EXPECT_EQ(Now(), kFound);

    PowerPlanParams saved;
    saved.FromJson(&noted);
    power.Set(names[0], 1);
    EXPECT_EQ(CPowerPlan(saved).PutBack(), 0U);
    EXPECT_EQ(Now(), kFound);
    EXPECT_EQ(power.Calls(L"PowerSetActiveScheme"), activations) << "the other plan stays the active one";
    power.Set(names[0], 1);
    power.Set(L"FailWrite:" + test_support::GuidText(kBrightness), 5);
    EXPECT_EQ(CPowerPlan(saved).PutBack(), 31U);
    power.Set(L"FailWrite:" + test_support::GuidText(kDisplayOff), 5);
    saved.scheme = "{00000000-0000-0000-0000-000000000001}";
    EXPECT_EQ(CPowerPlan(saved).PutBack(), 0U) << "its plan is gone";
}

TEST_F(PowerPlan, AnotherSourceGetsASnapshotOfItsOwn) {
    CPowerPlan action(Params(R"({"BrightnessLevel":90,"DisplayOffTime":60})"));
    power.Set(L"FailRead:" + test_support::GuidText(kBrightness), 5);
    ASSERT_EQ(action.Start(), 0u) << "a value that can't be read isn't changed, and stops nothing";
    PowerPlanParams battery = Params(R"({"OnBattery":1,"DisplayOffTime":30})");
    EXPECT_EQ(action.Update(&battery), 0u);
    EXPECT_EQ(Now(), (Values{70, 700, 50, 30}));
    EXPECT_EQ(action.Revert(), 0u);
    EXPECT_EQ(Now(), kFound);
    power.Set(L"FailActiveScheme", 5);
    battery.onBattery = 0;
    EXPECT_EQ(action.Update(&battery), 31u);
    EXPECT_EQ(action.Revert(), 31u) << "neither source is noted now";
    EXPECT_EQ(action.Update(nullptr), 31u);
}

TEST_F(PowerPlan, OlderSystemsReturnTheBatterysValuesToTheCable) {
    const auto now = [] {
        const auto p = test_support::ReadPowerRecord(test_support::kLegacyPolicy, USER_POWER_POLICY{});
        return Values{p.VideoTimeoutAc, p.VideoTimeoutDc, p.OptimizeForPowerDc, p.IdleTimeoutDc};
    };
    USER_POWER_POLICY found = {};
    found.VideoTimeoutAc = 1;
    found.VideoTimeoutDc = 2;
    found.IdleTimeoutDc = 3;
    test_support::WritePowerRecord(test_support::kLegacyPolicy, found);
    test_support::g_isOlderThanVista = true;
    g_missingExport = "PowerGetActiveScheme";
    CPowerPlan action(Params(R"({"OnBattery":1,"DisplayOffTime":60,"CoolingPolicy":257})"));
    power.Set(L"FailPolicies", 5);
    EXPECT_EQ(action.Start(), 31u);
    power.Remove(L"FailPolicies");
    EXPECT_EQ(action.Start(), 0u);
    EXPECT_EQ(now(), (Values{1, 60, 1, 3}));
    EXPECT_EQ(action.Revert(), 0u);
    EXPECT_EQ(now(), (Values{2, 60, 1, 3}));
    CPowerPlan later(Params(R"({"DisplayOffTime":7})"));
    EXPECT_EQ(later.SetRevertParameters(action.GetParameters()) + later.Start(), 0u);
    EXPECT_EQ(now(), (Values{7, 60, 1, 3})) << "what it doesn't set stays, whoever noted the values";
}

TEST_F(PowerPlan, ALibraryWithoutOneOfTheFunctionsIsNotUsed) {
    for (const char* name : {"PowerGetActiveScheme", "PowerSetActiveScheme", "PowerReadDCValueIndex",
                             "PowerWriteDCValueIndex", "PowerReadACValueIndex", "PowerWriteACValueIndex"}) {
        g_missingExport = name;
        EXPECT_EQ(CPowerPlan(Params(R"({"BrightnessLevel":90})")).Start(), 31u) << name;
    }
    EXPECT_EQ(Now(), kFound);
}

}  // namespace
}  // namespace optimizer
