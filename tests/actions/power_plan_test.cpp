// The power plan action against a power library that keeps its values and fails on demand.
#include "actions/power_plan.h"

#include <gtest/gtest.h>

#include "actions/hibernate_params.h"
#include "tests/actions/simulated_system.h"
#include "tests/support/simulated_power.h"

namespace optimizer {
namespace {

using test_support::g_system;
using test_support::SimulatedPower;

constexpr uint32_t kLeftAlone = 0xFFFFFFFF;
constexpr uint32_t kFailed = 31;
constexpr GUID kVideo = {0x7516B95F, 0xF776, 0x4464, {0x8C, 0x53, 0x06, 0x16, 0x7F, 0x40, 0xCC, 0x99}};
constexpr GUID kBrightness = {0xADED5E82, 0xB909, 0x4619, {0x99, 0x49, 0xF5, 0xD7, 0x1D, 0xAC, 0x0B, 0xCB}};
constexpr GUID kDisplayOff = {0x3C0BC021, 0xC8A8, 0x4E07, {0xA9, 0x73, 0x6B, 0x14, 0xCB, 0xCB, 0x2B, 0x7E}};

PowerPlanParams Params(uint32_t onBattery, uint32_t brightness, uint32_t displayOff = kLeftAlone) {
    PowerPlanParams parameters;
    parameters.onBattery = onBattery;
    parameters.brightnessLevel = brightness;
    parameters.displayOffTime = displayOff;
    return parameters;
}

class PowerPlan : public testing::Test {
protected:
    using Values = std::vector<uint32_t>;  // brightness and display-off time, of the cable and of the battery
    PowerPlan() { Put({70, 700, 50, 500}); }
    ~PowerPlan() override { g_system = {}; }

    void Put(const Values& values) {
        for (size_t i = 0; i < values.size(); ++i)
            power.Set(Names()[i], values[i]);
    }
    Values Now() const {
        Values values;
        for (const std::wstring& name : Names())
            values.push_back(power.Get(name).value_or(kLeftAlone));
        return values;
    }
    static std::vector<std::wstring> Names() {
        const auto name = &SimulatedPower::ValueName;
        const GUID& scheme = test_support::kDefaultScheme;
        return {name(kVideo, kBrightness, false, scheme), name(kVideo, kDisplayOff, false, scheme),
                name(kVideo, kBrightness, true, scheme), name(kVideo, kDisplayOff, true, scheme)};
    }

    SimulatedPower power;
};

TEST_F(PowerPlan, OneSourceChangesAndOnTheBatteryTheDisplayNeverGetsBrighter) {
    const struct {
        PowerPlanParams wanted;
        Values applied;
        uint32_t brightness;  // in the parameters afterwards
    } cases[] = {
        {Params(0, 90, 60), {90, 60, 50, 500}, 90}, {Params(1, 90, 60), {70, 700, 50, 60}, 50},
        {Params(1, 49), {70, 700, 49, 500}, 49},    {Params(1, kLeftAlone, 0), {70, 700, 50, 0}, 50},
        {Params(2, 90, 60), {70, 60, 50, 500}, 70},  // the cable, and yet kept down
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(&test - cases);
        CPowerPlan action(test.wanted);
        EXPECT_EQ(action.Revert(), kFailed) << "nothing to return to yet";
        EXPECT_EQ(action.Start(), 0u);
        EXPECT_EQ(Now(), test.applied);
        PowerPlanParams expected = test.wanted;
        expected.brightnessLevel = test.brightness;
        EXPECT_TRUE(action.HasSameParameters(&expected));
        EXPECT_EQ(action.Start(), 0u) << "doesn't note the values a second time";
        EXPECT_EQ(action.Revert(), 0u);
        EXPECT_EQ(Now(), (Values{70, 700, 50, 500}));
    }
}

TEST_F(PowerPlan, FailedReadsAndWritesStopNothing) {
    CPowerPlan action(Params(0, 90, 60));
    power.Set(L"FailRead:" + test_support::GuidText(kBrightness), 5);
    EXPECT_EQ(action.Start(), 0u);
    power.Set(L"FailWrite:" + test_support::GuidText(kBrightness), 5);
    EXPECT_EQ(action.Revert(), 0u);
    EXPECT_EQ(Now(), (Values{90, 700, 50, 500})) << "what couldn't be read is left alone";
    EXPECT_EQ(power.Calls(L"PowerWriteACValueIndex"), 3u);
    EXPECT_EQ(power.Calls(L"PowerSetActiveScheme"), 2u);
}

TEST_F(PowerPlan, AnotherSourceGetsASnapshotOfItsOwn) {
    PowerPlanParams cable = Params(0, 90, 60);
    CPowerPlan action(cable);
    ASSERT_EQ(action.Start(), 0u);
    const uint32_t writes = power.Calls(L"PowerWriteACValueIndex");
    EXPECT_EQ(action.Update(&cable), 0u);
    EXPECT_EQ(power.Calls(L"PowerWriteACValueIndex"), writes) << "nothing new";
    HibernateParams wrong;
    EXPECT_EQ(action.Update(&wrong), kFailed);
    EXPECT_EQ(action.SetRevertParameters(nullptr), kFailed);

    PowerPlanParams battery = Params(1, 20, 30);
    EXPECT_EQ(action.Update(&battery), 0u);
    EXPECT_EQ(Now(), (Values{70, 700, 20, 30}));
    battery.displayOffTime = 40;
    EXPECT_EQ(action.Update(&battery), 0u);
    EXPECT_EQ(action.Revert(), 0u);
    EXPECT_EQ(Now(), (Values{70, 700, 50, 500}));

    power.Set(L"FailActiveScheme", 5);
    EXPECT_EQ(action.Update(&cable), kFailed);
    EXPECT_EQ(action.Revert(), kFailed) << "neither source is noted now";
}

TEST_F(PowerPlan, WhatAnEarlierRunSavedIsWhatItReturnsTo) {
    PowerPlanParams saved = Params(1, 80, 800);
    CPowerPlan action(Params(1, 90, 60));
    EXPECT_EQ(action.SetRevertParameters(&saved), 0u);
    EXPECT_EQ(action.Start(), 0u);
    EXPECT_EQ(Now(), (Values{70, 700, 80, 60}));
    EXPECT_EQ(power.Calls(L"PowerReadDCValueIndex"), 0u);
    EXPECT_EQ(action.Revert(), 0u);
    EXPECT_EQ(Now(), (Values{70, 700, 80, 800}));
}

TEST_F(PowerPlan, ALibraryWithoutOneOfTheFunctionsIsNotUsed) {
    for (const char* name : {"PowerGetActiveScheme", "PowerSetActiveScheme", "PowerReadDCValueIndex",
                             "PowerWriteDCValueIndex", "PowerReadACValueIndex", "PowerWriteACValueIndex"}) {
        g_system.missingExport = name;
        CPowerPlan action(Params(0, 90));
        EXPECT_EQ(action.Start(), kFailed) << name;
    }
    EXPECT_EQ(Now(), (Values{70, 700, 50, 500}));
}

TEST_F(PowerPlan, OlderSystemsHaveFourOfTheValuesAndReturnThemToTheCable) {
    const auto now = [] {
        const auto p = test_support::ReadPowerRecord(test_support::kLegacyPolicy, USER_POWER_POLICY{});
        return Values{p.VideoTimeoutAc,     p.IdleTimeoutAc,    p.OptimizeForPowerAc,
                      p.ForcedThrottleAc,   p.VideoTimeoutDc,   p.IdleTimeoutDc,
                      p.OptimizeForPowerDc, p.ForcedThrottleDc, p.IdleSensitivityAc};
    };
    USER_POWER_POLICY found = {};
    found.VideoTimeoutAc = 1;
    found.VideoTimeoutDc = 2;
    found.IdleTimeoutAc = 3;
    found.IdleTimeoutDc = 4;
    found.ForcedThrottleDc = 99;
    found.IdleSensitivityAc = 7;
    test_support::WritePowerRecord(test_support::kLegacyPolicy, found);
    g_system.isOlderThanVista = true;
    g_system.missingExport = "PowerGetActiveScheme";

    PowerPlanParams wanted = Params(1, 90, 60);
    wanted.coolingPolicy = 0x101;
    CPowerPlan action(wanted);
    for (const wchar_t* failure : {L"FailLegacyScheme", L"FailPolicies", L"FailSetPolicies"}) {
        power.Set(failure, 5);
        EXPECT_EQ(action.Start(), kFailed);
        EXPECT_EQ(now(), (Values{1, 3, 0, 0, 2, 4, 0, 99, 7}));
        power.Remove(failure);
    }
    EXPECT_EQ(action.Start(), 0u);
    EXPECT_EQ(now(), (Values{1, 3, 0, 0, 60, 4, 1, 99, 7}));
    EXPECT_TRUE(action.HasSameParameters(&wanted)) << "the brightness isn't looked at";
    EXPECT_EQ(action.Revert(), 0u);
    EXPECT_EQ(now(), (Values{2, 4, 0, 99, 60, 4, 1, 99, 7}));
}

TEST_F(PowerPlan, JsonLeavesAloneWhatItDoesNotTell) {
    picojson::value json;
    PowerPlanParams parameters;
    ASSERT_EQ(picojson::parse(json, R"({"RTCWake":0,"SleepTime":4294967294,"DimTime":-1,"DimValue":"x"})"),
              "");
    parameters.FromJson(&json);
    PowerPlanParams expected;
    expected.rtcWake = 0;
    expected.sleepTime = 4294967294;
    EXPECT_TRUE(parameters == expected);
    parameters.ToJson(&json);
    EXPECT_EQ(json.get("DimTime").to_str() + json.get("OnBattery").to_str(), "42949672950");
    EXPECT_EQ(json.get<picojson::object>().size(), 13u);
}

}  // namespace
}  // namespace optimizer
