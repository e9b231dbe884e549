// The measurement's decisions at their boundaries, and one off on each side.
#include "boottime/decisions.h"

#include <climits>
#include <cstring>

#include <gtest/gtest.h>

namespace boottime {
namespace {

TEST(Decisions, TwoSecondsTellBootsApart) {
    EXPECT_TRUE(IsSameBoot(5000, 3001) && IsSameBoot(3001, 5000));
    EXPECT_FALSE(IsSameBoot(5000, 3000) || IsSameBoot(3000, 5000));
    EXPECT_FALSE(IsSameBoot(INT64_MIN, INT64_MAX));
}

TEST(Decisions, AProcessLeavesWhenItIsQuietOrWatchedForLongEnough) {
    struct Case {
        const char* what;
        uint32_t samples, idle, lastTick, now;
        int32_t kernel, user;  // since the last sample
        uint32_t idleNow;
        bool leaves;
    };
    const Case kCases[] = {
        {"the second sample isn't judged", 1, 0, 5000, 6000, 0, 0, 0, false},
        {"20 percent", 5, 7, 5000, 6000, 100, 100, 0, false},
        {"each percentage is whole", 5, 7, 5000, 6000, 109, 99, 8, false},
        {"the tenth in a row", 11, 9, 5000, 6000, 0, 0, 10, true},
        {"more than the clock", 5, 3, 5000, 6000, 1001, 0, 4, false},
        {"exactly the clock", 5, 3, 5000, 6000, 1000, 0, 0, false},
        {"a time that fell", 5, 3, 5000, 6000, -50, 0, 4, false},
        {"the clock wrapped", 15, 9, 0xFFFFFF00, 700, 0, 0, 0, false},
        {"the clock stood still", 5, 3, 5000, 5000, 0, 0, 4, false},
        {"the last but one", 29, 0, 5000, 6000, 800, 800, 0, false},
        {"watched for long enough", 30, 4, 5000, 6000, 800, 800, 4, true},
    };
    for (const Case& c : kCases) {
        const WatchState state = {{100, 100, 0, 0, 0}, c.samples, c.idle, c.lastTick};
        const auto [idle, leaves] = JudgeSample(state, c.now, {100 + c.kernel, 100 + c.user, 0, 0, 0});
        EXPECT_TRUE(idle == c.idleNow && leaves == c.leaves) << c.what;
    }
}

TEST(Decisions, TheEndOfABootCountsFromTheLogon) {
    EXPECT_FALSE(FinishedBootTime(160000, 100000, 0)) << "a minute must be over";
    EXPECT_EQ(FinishedBootTime(160001, 100000, 0), 160001U);
    EXPECT_EQ(FinishedBootTime(700000, 630000, 30000), 100000U) << "ten minutes at the logon screen";
    EXPECT_EQ(FinishedBootTime(59999, 0xFFFFFFFF, 0), std::nullopt) << "over a wrap of the clock";
    EXPECT_EQ(FinishedBootTime(60000, 0xFFFFFFFF, 0), 60000U);
    EXPECT_TRUE(!IsBootOverdue(7200000) && IsBootOverdue(7200001));
    EXPECT_TRUE(TakesNewProcesses(true, 179999, 0) && !TakesNewProcesses(true, 180000, 0));
    EXPECT_TRUE(TakesNewProcesses(false, 180000, 0));
}

TEST(Decisions, ABootEventCountsFromTheStartOfTheMonitor) {
    EXPECT_EQ(JudgeBootEvent(3, 999, 1000, 2000), std::nullopt);
    EXPECT_EQ(JudgeBootEvent(3, 1000, 1000, 2000), BootEventStatus::TooEarly);
    EXPECT_EQ(JudgeBootEvent(3, 2000, 1000, 2000), BootEventStatus::Arrived);
    EXPECT_EQ(JudgeBootEvent(kHasFileTime, 999, 1000, 2000), BootEventStatus::Retry);
}

TEST(Decisions, StepsThatCantBeAreLeftOut) {
    struct Case {
        const char* what;
        ProcessSample previous, next;
        ProcessCounters added;
    };
    const Case kCases[] = {
        {"sane", {100, {10, 20, 30, 40, 50}}, {1100, {1010, 20, 31, 50, 50}}, {1000, 0, 1, 10, 0}},
        {"outruns the clock", {100, {}}, {1100, {1001, 1000, INT_MAX, 0, 0}}, {0, 1000, INT_MAX, 0, 0}},
        {"fell", {100, {9, 9, 9, 9, 9}}, {1100, {8, 10, 8, 9, 10}}, {0, 1, 0, 0, 1}},
        {"the clock wraps", {0xFFFFFFFF, {}}, {999, {1000, 1001, 0, 0, 0}}, {1000, 0, 0, 0, 0}},
        {"the clock goes back", {2000, {}}, {1000, {0, 1, 0, 0, 0}}, {0, 0, 0, 0, 0}},
        {"the count wraps", {100, {0, 0, INT_MAX, -1, 0}}, {1100, {0, 0, INT_MIN, 1, 0}}, {0, 0, 1, 2, 0}},
    };
    for (const Case& c : kCases) {
        ProcessCounters impact = {};
        AddCpuStep(c.previous, c.next, impact);
        AddTransferStep(c.previous, c.next, impact);
        EXPECT_EQ(std::memcmp(&impact, &c.added, sizeof(impact)), 0) << c.what;
    }
    ProcessCounters total = {INT_MAX, 0, INT_MIN, 0, 0};
    AddCounters({1, 2, -1, 4, 5}, total);
    EXPECT_TRUE(total.cpuKernelTime == INT_MIN && total.bytesRead == INT_MAX && total.bytesOther == 5);
}

TEST(Decisions, TheDiskIsMeasuredOnceTheProcessorsAreIdle) {
    EXPECT_FALSE(MayMeasureDisk(16000000, 2, 1000, 1000)) << "80 percent of two processors";
    EXPECT_FALSE(MayMeasureDisk(16019999, 2, 1000, 1000)) << "whole milliseconds";
    EXPECT_TRUE(MayMeasureDisk(16020000, 2, 1000, 1000));
    EXPECT_TRUE(!MayMeasureDisk(0, 2, 1000, 10000) && MayMeasureDisk(0, 2, 1000, 10001));
}

}  // namespace
}  // namespace boottime
