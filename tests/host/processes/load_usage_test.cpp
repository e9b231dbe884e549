// The disks' figures, with performance counters of the test's, since Wine has none of disks.
#include "plugins/load_usage.h"

#include <deque>

#include <gtest/gtest.h>
#include <windows.h>

#include <pdh.h>
#include <pdhmsg.h>

namespace {

PDH_STATUS g_added = ERROR_SUCCESS;
std::deque<double> g_values;  // what is read from now on
int g_open = 0;

}  // namespace

// In place of the system's library.
extern "C" {

PDH_STATUS WINAPI PdhOpenQueryW(LPCWSTR, DWORD_PTR, PDH_HQUERY* query) {
    *query = &g_open;
    return ++g_open, ERROR_SUCCESS;
}

PDH_STATUS WINAPI PdhCloseQuery(PDH_HQUERY) {
    return --g_open, ERROR_SUCCESS;
}

PDH_STATUS WINAPI PdhAddEnglishCounterW(PDH_HQUERY, LPCWSTR, DWORD_PTR, PDH_HCOUNTER*) {
    return g_added;
}

PDH_STATUS WINAPI PdhCollectQueryData(PDH_HQUERY) {
    return ERROR_SUCCESS;
}

PDH_STATUS WINAPI PdhGetFormattedCounterValue(PDH_HCOUNTER, DWORD, LPDWORD, PPDH_FMT_COUNTERVALUE value) {
    if (g_values.empty()) return static_cast<PDH_STATUS>(PDH_INVALID_DATA);
    value->doubleValue = g_values.front();
    return g_values.pop_front(), ERROR_SUCCESS;
}

}  // extern "C"

namespace {

TEST(LoadUsage, TellsTheSpanOfTheSamplesOrZeros) {
    struct Case {
        PDH_STATUS added;
        std::deque<double> values;
        boottime::DiskSpeed expected;
    };
    const Case cases[] = {
        {ERROR_SUCCESS, {80, 95, -150, 60, 65}, {5, 100, 40}},  // idle, and so busy
        {ERROR_SUCCESS, {20, 5}, {0, 0, 0}},                    // ends in the middle
        {static_cast<PDH_STATUS>(PDH_CSTATUS_NO_COUNTER), {}, {0, 0, 0}},
    };
    host::CLoadUsage usage;
    for (const Case& each : cases) {
        g_added = each.added;
        g_values = each.values;
        boottime::DiskSpeed speed = {-1, -1, -1};
        void* figures = &speed;
        uint32_t flags = 0;
        const bool whole = each.values.size() == 5;
        EXPECT_EQ(usage.GetFigures(ILoadUsage::kDiskFigures, &figures, &flags) == ERROR_SUCCESS, whole);
        EXPECT_DOUBLE_EQ(speed.min_hddUsage, each.expected.min_hddUsage);
        EXPECT_DOUBLE_EQ(speed.max_hddUsage, each.expected.max_hddUsage);
        EXPECT_DOUBLE_EQ(speed.average_hddUsage, each.expected.average_hddUsage);
        EXPECT_EQ(g_open, 0);
    }
}

}  // namespace
