// What the simulated power library keeps, and how a test sets and reads it: in the registry, so that it
// outlives a process that is killed and is seen from outside.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <windows.h>

namespace test_support {

inline constexpr const wchar_t* kPowerKey = L"Software\\optimizeral-tests\\power";

/// In the registry's form, braces included.
std::wstring GuidText(const GUID& guid);

/// The scheme that is active unless the store names another.
inline constexpr GUID kDefaultScheme = {
    0x381B4222, 0xF694, 0x41F0, {0x96, 0x85, 0xFF, 0x5B, 0xB2, 0x60, 0xDF, 0x2E}};

/// The state of the simulated power library, empty at the start and at the end. Numbers by name:
///   "<scheme>/<subgroup>/<setting>/AC" or ".../DC"   a value; one that isn't there can't be read
///   "FailRead:<setting>", "FailWrite:<setting>"      the error of that call
///   "FailActiveScheme", "FailCapabilities"           the error of PowerGetActiveScheme, GetPwrCapabilities
///   "FailLegacyScheme", "FailPolicies", "FailSetPolicies"  the errors of GetActivePwrScheme,
///                                                    GetCurrentPowerPolicies, SetActivePwrScheme
///   "NoS4"                                           1: the machine can't hibernate
///   "KillOnWrite"                                    n: the nth write of a process ends it at once
///   "Calls:<export>"                                 how often it was called, all processes together
/// Beside them, by the names below, the active scheme and the users' part of the legacy policies.
class SimulatedPower {
public:
    SimulatedPower();
    ~SimulatedPower();
    SimulatedPower(const SimulatedPower&) = delete;
    SimulatedPower& operator=(const SimulatedPower&) = delete;

    void Set(const std::wstring& name, uint32_t number);
    void Remove(const std::wstring& name);
    std::optional<uint32_t> Get(const std::wstring& name) const;

    uint32_t Calls(const std::wstring& exportName) const { return Get(L"Calls:" + exportName).value_or(0); }
    static std::wstring ValueName(const GUID& subgroup, const GUID& setting, bool onBattery,
                                  const GUID& scheme = kDefaultScheme);
};

/// One number of the store; for the library and for tests alike.
std::optional<uint32_t> ReadPowerNumber(const std::wstring& name);
void WritePowerNumber(const std::wstring& name, uint32_t number);

/// A record of the store.
inline constexpr const wchar_t* kActiveScheme = L"ActiveScheme";  // a GUID
inline constexpr const wchar_t* kLegacyPolicy = L"LegacyPolicy";  // a USER_POWER_POLICY

template <class Record>
Record ReadPowerRecord(const wchar_t* name, const Record& otherwise) {
    Record record = {};
    DWORD sizeBytes = sizeof(record);
    const LSTATUS error =
        RegGetValueW(HKEY_CURRENT_USER, kPowerKey, name, RRF_RT_REG_BINARY, nullptr, &record, &sizeBytes);
    return error == ERROR_SUCCESS && sizeBytes == sizeof(record) ? record : otherwise;
}

template <class Record>
void WritePowerRecord(const wchar_t* name, const Record& record) {
    RegSetKeyValueW(HKEY_CURRENT_USER, kPowerKey, name, REG_BINARY, &record, sizeof(record));
}

}  // namespace test_support
