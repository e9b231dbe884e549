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
    EXPECT_FALSE(IsSameBoot(INT64_MIN, INT64_MAX) || IsSameBoot(INT64_MAX, INT64_MIN));
}

TEST(Decisions, AProcessLeavesWhenItIsQuietOrWatchedForLongEnough) {
    struct Case {
        const char* what;
        WatchState state;  // last counters, samples, quiet ones, tick
        uint32_t now;
        int32_t kernel, user;
        uint32_t idleCount;
        bool leaves;
    };
    constexpr ProcessCounters kLast = {100, 100, 0, 0, 0};
    const Case kCases[] = {
        {"the second sample isn't judged", {kLast, 1, 0, 5000}, 6000, 100, 100, 0, false},
        {"quiet", {kLast, 2, 0, 5000}, 6000, 200, 199, 1, false},
        {"20 percent", {kLast, 5, 7, 5000}, 6000, 200, 200, 0, false},
        {"each percentage is whole", {kLast, 5, 7, 5000}, 6000, 209, 199, 8, false},
        {"the tenth in a row", {kLast, 11, 9, 5000}, 6000, 100, 100, 10, true},
        {"a busy one after nine", {kLast, 20, 9, 5000}, 6000, 900, 100, 0, false},
        {"more than the clock", {kLast, 5, 3, 5000}, 6000, 1101, 100, 4, false},
        {"exactly the clock", {kLast, 5, 3, 5000}, 6000, 1100, 100, 0, false},
        {"a time that fell", {kLast, 5, 3, 5000}, 6000, 50, 100, 4, false},
        {"the clock wrapped", {kLast, 15, 9, 0xFFFFFF00}, 700, 100, 100, 0, false},
        {"the clock stood still", {kLast, 5, 3, 5000}, 5000, 100, 100, 4, false},
        {"the last but one", {kLast, 29, 0, 5000}, 6000, 900, 900, 0, false},
        {"watched for long enough", {kLast, 30, 4, 5000}, 6000, 900, 900, 4, true},
    };
    for (const Case& c : kCases) {
        const SampleVerdict verdict = JudgeSample(c.state, c.now, {c.kernel, c.user, 0, 0, 0});
        EXPECT_EQ(verdict.idleCount, c.idleCount) << c.what;
        EXPECT_EQ(verdict.leaves, c.leaves) << c.what;
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
    constexpr auto kBoth = kHasBootTime | kHasFileTime;
    EXPECT_EQ(JudgeBootEvent(kBoth, 999, 1000, 2000), std::nullopt);
    EXPECT_EQ(JudgeBootEvent(kBoth, 1000, 1000, 2000), BootEventStatus::TooEarly);
    EXPECT_EQ(JudgeBootEvent(kBoth, 1999, 1000, 2000), BootEventStatus::TooEarly);
    EXPECT_EQ(JudgeBootEvent(kBoth, 2000, 1000, 2000), BootEventStatus::Arrived);
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
        {"the count wraps",
         {100, {0, 0, INT_MAX, -1, INT_MIN}},
         {1100, {0, 0, INT_MIN, 1, INT_MAX}},
         {0, 0, 1, 2, 0}},
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
