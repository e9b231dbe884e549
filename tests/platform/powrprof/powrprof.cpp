// A power library that keeps its values in the registry (tests/support/simulated_power.h) and fails on
// demand.
#include <atomic>
#include <string>

#include <windows.h>

#include <powrprof.h>

#include "tests/support/simulated_power.h"

using test_support::ReadPowerNumber;
using test_support::SimulatedPower;
using test_support::WritePowerNumber;

namespace {

constexpr UINT kKilled = 99;       // exit code of a process that was ended on demand
constexpr UINT kLegacyScheme = 5;  // the number of the active one

void CountCall(const wchar_t* exportName) {
    const std::wstring name = std::wstring(L"Calls:") + exportName;
    WritePowerNumber(name, ReadPowerNumber(name).value_or(0) + 1);
}

DWORD Read(const wchar_t* exportName, bool onBattery, const GUID* scheme, const GUID* subgroup,
           const GUID* setting, DWORD* value) {
    CountCall(exportName);
    const auto error = ReadPowerNumber(L"FailRead:" + test_support::GuidText(*setting));
    if (error) return *error;
    const auto number = ReadPowerNumber(SimulatedPower::ValueName(*subgroup, *setting, onBattery, *scheme));
    if (!number) return ERROR_FILE_NOT_FOUND;
    *value = *number;
    return ERROR_SUCCESS;
}

DWORD Write(const wchar_t* exportName, bool onBattery, const GUID* scheme, const GUID* subgroup,
            const GUID* setting, DWORD value) {
    static std::atomic<uint32_t> calls = 0;
    CountCall(exportName);
    // As a power cut would.
    if (++calls == ReadPowerNumber(L"KillOnWrite")) TerminateProcess(GetCurrentProcess(), kKilled);
    const auto error = ReadPowerNumber(L"FailWrite:" + test_support::GuidText(*setting));
    if (error) return *error;
    WritePowerNumber(SimulatedPower::ValueName(*subgroup, *setting, onBattery, *scheme), value);
    return ERROR_SUCCESS;
}

/// False with that error as the last one when the test wants the call to fail.
bool Answers(const wchar_t* failure) {
    const auto error = ReadPowerNumber(failure);
    if (error) SetLastError(*error);
    return !error;
}

}  // namespace

extern "C" {

__declspec(dllexport) BOOLEAN WINAPI GetPwrCapabilities(PSYSTEM_POWER_CAPABILITIES capabilities) {
    CountCall(L"GetPwrCapabilities");
    if (!Answers(L"FailCapabilities")) return FALSE;
    *capabilities = {};
    capabilities->SystemS4 = ReadPowerNumber(L"NoS4").value_or(0) == 0;
    return TRUE;
}

__declspec(dllexport) BOOLEAN WINAPI GetActivePwrScheme(PUINT index) {
    *index = kLegacyScheme;
    return Answers(L"FailLegacyScheme");
}

__declspec(dllexport) BOOLEAN WINAPI GetCurrentPowerPolicies(PGLOBAL_POWER_POLICY, PPOWER_POLICY policy) {
    policy->user = test_support::ReadPowerRecord(test_support::kLegacyPolicy, USER_POWER_POLICY{});
    return Answers(L"FailPolicies");
}

__declspec(dllexport) BOOLEAN WINAPI
    SetActivePwrScheme(UINT index, PGLOBAL_POWER_POLICY global, PPOWER_POLICY policy) {
    if (index != kLegacyScheme || global != nullptr || !Answers(L"FailSetPolicies")) return FALSE;
    test_support::WritePowerRecord(test_support::kLegacyPolicy, policy->user);
    return TRUE;
}

__declspec(dllexport) DWORD WINAPI PowerGetActiveScheme(HKEY, GUID** scheme) {
    CountCall(L"PowerGetActiveScheme");
    if (const auto error = ReadPowerNumber(L"FailActiveScheme")) return *error;
    *scheme = static_cast<GUID*>(LocalAlloc(LMEM_FIXED, sizeof(GUID)));
    if (*scheme == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
    **scheme = test_support::ReadPowerRecord(test_support::kActiveScheme, test_support::kDefaultScheme);
    return ERROR_SUCCESS;
}

__declspec(dllexport) DWORD WINAPI PowerSetActiveScheme(HKEY, const GUID* scheme) {
    CountCall(L"PowerSetActiveScheme");
    test_support::WritePowerRecord(test_support::kActiveScheme, *scheme);
    return ERROR_SUCCESS;
}

__declspec(dllexport) DWORD WINAPI PowerReadDCValueIndex(HKEY, const GUID* scheme, const GUID* subgroup,
                                                         const GUID* setting, LPDWORD value) {
    return Read(L"PowerReadDCValueIndex", true, scheme, subgroup, setting, value);
}

__declspec(dllexport) DWORD WINAPI PowerReadACValueIndex(HKEY, const GUID* scheme, const GUID* subgroup,
                                                         const GUID* setting, LPDWORD value) {
    return Read(L"PowerReadACValueIndex", false, scheme, subgroup, setting, value);
}

__declspec(dllexport) DWORD WINAPI
    PowerWriteDCValueIndex(HKEY, const GUID* scheme, const GUID* subgroup, const GUID* setting, DWORD value) {
    return Write(L"PowerWriteDCValueIndex", true, scheme, subgroup, setting, value);
}

__declspec(dllexport) DWORD WINAPI
    PowerWriteACValueIndex(HKEY, const GUID* scheme, const GUID* subgroup, const GUID* setting, DWORD value) {
    return Write(L"PowerWriteACValueIndex", false, scheme, subgroup, setting, value);
}

}  // extern "C"
