// The hibernate action against a power library that keeps its values and fails on demand.
#include "actions/hibernate_action.h"

#include <cstring>

#include <gtest/gtest.h>
#include <winternl.h>

#include "actions/windows_services_params.h"
#include "tests/support/simulated_log.h"
#include "tests/support/simulated_power.h"

extern "C" NTSTATUS NTAPI LdrGetProcedureAddress(HMODULE library, ANSI_STRING* name, ULONG ordinal,
                                                 void** address);

namespace {

const char* g_missingExport = nullptr;  // GetProcAddress doesn't find it
bool g_oldSystem = false;

FARPROC WINAPI FindExport(HMODULE library, LPCSTR name) {
    if (g_missingExport != nullptr && std::strcmp(name, g_missingExport) == 0) return nullptr;
    ANSI_STRING text = {};
    text.Buffer = const_cast<char*>(name);
    text.Length = static_cast<USHORT>(std::strlen(name));
    text.MaximumLength = text.Length;
    void* address = nullptr;
    if (LdrGetProcedureAddress(library, &text, 0, &address) != 0) return nullptr;
    return reinterpret_cast<FARPROC>(address);
}

BOOL WINAPI CompareVersion(LPOSVERSIONINFOEXW, DWORD, DWORDLONG) {
    return !g_oldSystem;
}

}  // namespace

extern "C" {
decltype(&GetProcAddress) __imp_GetProcAddress = &FindExport;
decltype(&VerifyVersionInfoW) __imp_VerifyVersionInfoW = &CompareVersion;
}

namespace optimizer {
namespace {

using test_support::SimulatedPower;

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
        for (const bool onBattery : {true, false}) {
            Put(onBattery, 0, 900);
        }
    }
    ~Hibernate() override {
        g_missingExport = nullptr;
        g_oldSystem = false;
    }

    void Put(bool onBattery, uint32_t enabled, uint32_t timeout) {
        power.Set(SimulatedPower::ValueName(kSleep, kEnabled, onBattery), enabled);
        power.Set(SimulatedPower::ValueName(kSleep, kTimeout, onBattery), timeout);
    }
    std::pair<uint32_t, uint32_t> Values(bool onBattery, const GUID& scheme = test_support::kDefaultScheme) {
        const auto value = [&](const GUID& setting) {
            return power.Get(SimulatedPower::ValueName(kSleep, setting, onBattery, scheme)).value_or(~0U);
        };
        return {value(kEnabled), value(kTimeout)};
    }
    uint32_t Writes() {
        return power.Calls(L"PowerWriteDCValueIndex") + power.Calls(L"PowerWriteACValueIndex");
    }

    SimulatedPower power;
    test_support::TraceRecorder traces;
};

using Pair = std::pair<uint32_t, uint32_t>;

TEST_F(Hibernate, EachSourceChangesAndRevertsItsOwnValuesOnly) {
    for (const bool onBattery : {true, false}) {
        CHibernateAction action(onBattery ? L"HibernateOnBattery" : L"HibernateOnCable", onBattery,
                                Params(true, 120));
        EXPECT_EQ(action.Revert(), 0u) << "nothing recorded";
        EXPECT_EQ(action.Start(), 0u);
        EXPECT_EQ(Values(onBattery), Pair(1, 120));
        EXPECT_EQ(Values(!onBattery), Pair(0, 900));

        Put(onBattery, 1, 777);
        EXPECT_EQ(action.Start(), 0u) << "doesn't note the values a second time";
        EXPECT_EQ(action.Revert(), 1u) << "a revert that worked gives 1";
        EXPECT_EQ(Values(onBattery), Pair(0, 900));
        EXPECT_NE(action.GetRevertParameters(), nullptr);
    }
    EXPECT_TRUE(traces.Has(L"IHibernate::Set(true, false, 900) failed 0x1"));
    EXPECT_EQ(power.Calls(L"PowerSetActiveScheme"), 0u);
}

TEST_F(Hibernate, ReadsTheFirstSchemeAndWritesTheOneActiveNow) {
    CHibernateAction action(L"HibernateOnCable", false, Params(true, 120));
    ASSERT_EQ(action.Start(), 0u);
    power.SetActiveScheme(kOtherScheme);
    EXPECT_EQ(action.Revert(), 1u);
    EXPECT_EQ(Values(false), Pair(1, 120));
    EXPECT_EQ(Values(false, kOtherScheme), Pair(0, 900));
}

TEST_F(Hibernate, AMachineWithoutHibernationIsAskedAgain) {
    CHibernateAction action(L"HibernateOnCable", false, Params(true, 120));
    power.Set(L"NoS4", 1);
    EXPECT_EQ(action.Start(), 775u);
    power.Set(L"FailCapabilities", 5);
    EXPECT_EQ(action.Start(), 775u);
    EXPECT_TRUE(traces.Has(L"GetPwrCapabilities error 0x5"));
    EXPECT_EQ(Writes(), 0u);

    power.Remove(L"NoS4");
    power.Remove(L"FailCapabilities");
    EXPECT_EQ(action.Start(), 0u);
    EXPECT_EQ(action.Start(), 0u);
    EXPECT_EQ(power.Calls(L"GetPwrCapabilities"), 3u) << "not asked any more once it worked";
}

TEST_F(Hibernate, FailuresStopWhatTheyMustAndNoMore) {
    const std::wstring readTimeout = L"FailRead:" + test_support::GuidText(kTimeout);
    power.Set(readTimeout, 5);
    CHibernateAction action(L"HibernateOnBattery", true, Params(true, 120));
    EXPECT_EQ(action.Start(), 0u) << "a failed read doesn't stop the change";
    EXPECT_EQ(Values(true), Pair(1, 120));
    EXPECT_EQ(action.GetRevertParameters(), nullptr);
    EXPECT_TRUE(traces.Has(L"PowerReadDCValueIndex HibernateTimeout failed 0x5"));
    EXPECT_TRUE(traces.Has(L"IHibernate::Get failed"));
    power.Remove(readTimeout);

    HibernateParams next = Params(false, 60);
    power.Set(L"FailWrite:" + test_support::GuidText(kEnabled), 1314);
    EXPECT_EQ(action.Update(&next), 31u);
    EXPECT_EQ(Values(true), Pair(1, 120)) << "the timeout isn't written after a failed enabled value";
    EXPECT_TRUE(traces.Has(L"PowerWriteDCValueIndex HibernateEnabled failed 0x522"));
    EXPECT_TRUE(traces.Has(L"IHibernate::Set failed"));
    EXPECT_NE(action.GetRevertParameters(), nullptr);
    EXPECT_EQ(action.Revert(), 0u) << "a revert that failed is silent";
}

TEST_F(Hibernate, UpdateTakesOtherValuesAndKeepsTheFirstToReturnTo) {
    CHibernateAction action(L"HibernateOnCable", false, Params(true, 120));
    ASSERT_EQ(action.Start(), 0u);
    const uint32_t writes = Writes();
    HibernateParams same = Params(true, 120);
    WindowsServicesParams foreign;
    EXPECT_TRUE(action.HasSameParameters(&same));
    EXPECT_FALSE(action.HasSameParameters(&foreign));
    EXPECT_EQ(action.Update(&same), 0u);
    EXPECT_EQ(action.Update(&foreign), 0u);
    EXPECT_EQ(action.Update(nullptr), 0u);
    EXPECT_EQ(Writes(), writes);

    HibernateParams other = Params(true, 121);
    EXPECT_FALSE(action.HasSameParameters(&other));
    EXPECT_EQ(action.Update(&other), 0u);
    EXPECT_EQ(Values(false), Pair(1, 121));
    EXPECT_EQ(action.Revert(), 1u);
    EXPECT_EQ(Values(false), Pair(0, 900));
}

TEST_F(Hibernate, SavedValuesTakeThePlaceOfReading) {
    CHibernateAction action(L"HibernateOnCable", false, Params(true, 120));
    WindowsServicesParams foreign;
    EXPECT_EQ(action.SetRevertParameters(nullptr), 87u);
    EXPECT_EQ(action.SetRevertParameters(&foreign), 87u);
    EXPECT_EQ(action.GetRevertParameters(), nullptr);

    HibernateParams saved = Params(false, 5000);
    EXPECT_EQ(action.SetRevertParameters(&saved), 0u);
    EXPECT_EQ(action.Revert(), 0u) << "no Start yet";
    EXPECT_EQ(action.Start(), 0u);
    EXPECT_EQ(power.Calls(L"PowerReadACValueIndex"), 0u);
    EXPECT_EQ(action.Revert(), 1u);
    EXPECT_EQ(Values(false), Pair(0, 5000));
}

TEST_F(Hibernate, OneMissingExportOrNoSchemeMakesTheActionUseless) {
    for (const char* name : {"PowerGetActiveScheme", "PowerSetActiveScheme", "PowerReadDCValueIndex",
                             "PowerWriteDCValueIndex", "PowerReadACValueIndex", "PowerWriteACValueIndex"}) {
        g_missingExport = name;
        CHibernateAction action(L"HibernateOnCable", false, Params(true, 120));
        EXPECT_EQ(action.Start(), 31u) << name;
        g_missingExport = nullptr;
        EXPECT_EQ(action.Start(), 0u) << "tried anew";
    }
    power.Set(L"FailActiveScheme", 2);
    CHibernateAction action(L"HibernateOnCable", false, Params(true, 120));
    EXPECT_EQ(action.Start(), 31u);
    EXPECT_TRUE(traces.Has(L"PowerGetActiveScheme failed 0x2"));
}

TEST_F(Hibernate, AnOldSystemHasNothingToSet) {
    g_oldSystem = true;
    CHibernateAction action(L"HibernateOnCable", false, Params(true, 120));
    EXPECT_EQ(action.Start(), 31u);
    EXPECT_TRUE(traces.Has(L"IHibernate::Get failed"));
    EXPECT_TRUE(traces.Has(L"IHibernate::Set failed"));
    EXPECT_EQ(action.Revert(), 0u);
    EXPECT_EQ(power.Calls(L"PowerGetActiveScheme"), 0u);
}

TEST(HibernateParamsJson, ReadsWhatItWritesAndKeepsDefaultsForTheRest) {
    const auto read = [](const char* text) {
        picojson::value value;
        EXPECT_EQ(picojson::parse(value, std::string(text)), "");
        HibernateParams parameters;
        parameters.FromJson(&value);
        picojson::value written;
        parameters.ToJson(&written);
        HibernateParams again;
        again.FromJson(&written);
        EXPECT_EQ(again, parameters);
        return parameters;
    };
    EXPECT_EQ(read(R"({"active": true, "time": 4294967295})"), Params(true, 4294967295));
    for (const char* unusable :
         {"[]", "{}", "7", R"({"active": 1, "time": "60"})", R"({"time": 4294967296})", R"({"time": -1})"}) {
        EXPECT_EQ(read(unusable), HibernateParams()) << unusable;
    }
    EXPECT_EQ(HibernateParams(), Params(false, 3600));
}

}  // namespace
}  // namespace optimizer
