// The hibernate action against a power library that keeps its values and fails on demand.
#include "actions/hibernate_action.h"

#include <gtest/gtest.h>

#include "actions/windows_services_params.h"
#include "tests/support/simulated_log.h"
#include "tests/support/simulated_power.h"

namespace optimizer {
namespace {

using test_support::GuidText;
using test_support::SimulatedPower;
using Pair = std::pair<uint32_t, uint32_t>;

constexpr GUID kSleep = {0x238C9FA8, 0x0AAD, 0x41ED, {0x83, 0xF4, 0x97, 0xBE, 0x24, 0x2C, 0x8F, 0x20}};
constexpr GUID kEnabled = {0x94AC6D29, 0x73CE, 0x41A6, {0x80, 0x9F, 0x63, 0x63, 0xBA, 0x21, 0xB4, 0x7E}};
constexpr GUID kTimeout = {0x9D7815A6, 0x7EE4, 0x497E, {0x88, 0x88, 0x51, 0x5A, 0x05, 0xF0, 0x23, 0x64}};
constexpr GUID kOtherScheme = {0xA1841308, 0x3541, 0x4FAB, {0xBC, 0x81, 0xF7, 0x15, 0x56, 0xF2, 0x0B, 0x4A}};

HibernateParams Params(bool active, uint32_t time) {
    HibernateParams parameters;
    parameters.active = active;
    parameters.time = time;
    return parameters;
}

class Hibernate : public testing::Test {
protected:
    Hibernate() {
        Put(true, 0, 900);
        Put(false, 0, 900);
    }
    void Put(bool onBattery, uint32_t enabled, uint32_t timeout) {
        power.Set(SimulatedPower::ValueName(kSleep, kEnabled, onBattery), enabled);
        power.Set(SimulatedPower::ValueName(kSleep, kTimeout, onBattery), timeout);
    }
    Pair Values(bool onBattery, const GUID& scheme = test_support::kDefaultScheme) {
        const auto value = [&](const GUID& setting) {
            return power.Get(SimulatedPower::ValueName(kSleep, setting, onBattery, scheme)).value_or(~0U);
        };
        return {value(kEnabled), value(kTimeout)};
    }

    SimulatedPower power;
    test_support::TraceRecorder traces;
    CHibernateAction action{L"HibernateOnCable", false, Params(true, 120)};
};

TEST_F(Hibernate, EachSourceChangesAndRevertsItsOwnValuesOnly) {
    for (const bool onBattery : {true, false}) {
        CHibernateAction either(L"either", onBattery, Params(true, 120));
        EXPECT_EQ(either.Revert(), 0u) << "nothing recorded";
        EXPECT_EQ(either.Start(), 0u);
        EXPECT_EQ(Values(onBattery), Pair(1, 120));
        EXPECT_EQ(Values(!onBattery), Pair(0, 900));

        Put(onBattery, 1, 777);
        EXPECT_EQ(either.Start(), 0u) << "doesn't note the values a second time";
        const uint32_t writes = power.Calls(L"PowerWriteACValueIndex");
        HibernateParams next = Params(true, 120);
        EXPECT_EQ(either.Update(&next), 0u);
        EXPECT_EQ(power.Calls(L"PowerWriteACValueIndex"), writes) << "nothing new";
        next.time = 121;
        EXPECT_EQ(either.Update(&next), 0u);
        EXPECT_EQ(Values(onBattery), Pair(1, 121));
        EXPECT_EQ(either.Revert(), 1u) << "a revert that worked gives 1";
        EXPECT_EQ(Values(onBattery), Pair(0, 900));
    }
    EXPECT_TRUE(traces.Has(L"IHibernate::Set(true, false, 900) failed 0x1"));
    EXPECT_EQ(power.Calls(L"PowerSetActiveScheme"), 0u);
}

TEST_F(Hibernate, TheNoteIsOfOnePlanAndGoesBackThere) {
    EXPECT_EQ(action.Note(nullptr), 0U);
    EXPECT_EQ(Values(false), Pair(0, 900)) << "a note changes nothing";
    EXPECT_EQ(action.Start(), 0U);
    test_support::WritePowerRecord(test_support::kActiveScheme, kOtherScheme);
    HibernateParams next = Params(true, 60);
    EXPECT_EQ(action.Update(&next), 0U);
    EXPECT_EQ(Values(false), Pair(1, 60)) << "a plan without a note isn't changed";
    picojson::value noted;
    action.GetRevertParameters()->ToJson(&noted);
    EXPECT_EQ(action.Revert(), 1U);
    EXPECT_EQ(action.FinishRevert(), 0U);
    EXPECT_EQ(Values(false), Pair(0, 900));

    Put(false, 1, 60);
    HibernateParams saved;
    saved.FromJson(&noted);
    CHibernateAction later(L"HibernateOnCable", false, saved);
    EXPECT_EQ(later.PutBack(), 0U);
    EXPECT_EQ(Values(false), Pair(0, 900)) << "also from another start, with another plan active";
    EXPECT_EQ(Values(false, kOtherScheme), Pair(~0U, ~0U));
    power.Set(L"FailWrite:" + GuidText(kEnabled), 5);
    EXPECT_NE(later.PutBack(), 0U);
    saved.scheme = "{00000000-0000-0000-0000-000000000001}";
    power.Set(L"FailWrite:" + GuidText(kEnabled), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(CHibernateAction(L"HibernateOnCable", false, saved).PutBack(), 0U) << "its plan is gone";
}

TEST_F(Hibernate, AMachineThatCannotIsLeftAloneAndAskedAgain) {
    const std::pair<const wchar_t*, uint32_t> cases[] = {
        {L"NoS4", 775}, {L"FailCapabilities", 775}, {L"FailActiveScheme", 31}};
    for (const auto& [trouble, result] : cases) {
        power.Set(trouble, 1);
        EXPECT_EQ(action.Start(), result) << trouble;
        EXPECT_EQ(Values(false), Pair(0, 900));
        power.Remove(trouble);
    }
    EXPECT_EQ(action.Start(), 0u);
    EXPECT_EQ(action.Start(), 0u);
    EXPECT_EQ(power.Calls(L"GetPwrCapabilities"), 4u) << "not asked any more once it worked";
}

TEST_F(Hibernate, FailuresStopWhatTheyMustAndNoMore) {
    power.Set(L"FailRead:" + GuidText(kTimeout), 5);
    EXPECT_EQ(action.Start(), 0u) << "a failed read doesn't stop the change";
    EXPECT_EQ(Values(false), Pair(1, 120));
    EXPECT_EQ(action.GetRevertParameters(), nullptr) << "half of what was found is nothing to return to";
    EXPECT_TRUE(traces.Has(L"PowerReadACValueIndex HibernateTimeout failed 0x5"));
    power.Remove(L"FailRead:" + GuidText(kTimeout));

    HibernateParams next = Params(false, 60);
    power.Set(L"FailWrite:" + GuidText(kEnabled), 1314);
    EXPECT_EQ(action.Update(&next), 31u);
    EXPECT_EQ(Values(false), Pair(1, 120)) << "the timeout isn't written after a failed enabled value";
    EXPECT_NE(action.GetRevertParameters(), nullptr);
    EXPECT_EQ(action.Revert(), 0u) << "a revert that failed is silent";
}

}  // namespace
}  // namespace optimizer
