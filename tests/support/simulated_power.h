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

/// The scheme that is active unless the value "ActiveScheme" names another.
inline constexpr GUID kDefaultScheme = {
    0x381B4222, 0xF694, 0x41F0, {0x96, 0x85, 0xFF, 0x5B, 0xB2, 0x60, 0xDF, 0x2E}};

/// The state of the simulated power library, empty at the start and at the end. Numbers by name:
///   "<scheme>/<subgroup>/<setting>/AC" or ".../DC"   a value; one that isn't there can't be read
///   "FailRead:<setting>", "FailWrite:<setting>"      the error of that call
///   "FailActiveScheme", "FailCapabilities"           the error of PowerGetActiveScheme, GetPwrCapabilities
///   "NoS4"                                           1: the machine can't hibernate
///   "KillOnCapabilities", "KillOnWrite"              n: the nth such call of a process ends the process at
///   once "Calls:<export>"                                 how often it was called, all processes together
class SimulatedPower {
public:
    SimulatedPower();
    ~SimulatedPower();
    SimulatedPower(const SimulatedPower&) = delete;
    SimulatedPower& operator=(const SimulatedPower&) = delete;

    void Set(const std::wstring& name, uint32_t number);
    void Remove(const std::wstring& name);
    std::optional<uint32_t> Get(const std::wstring& name) const;
    void SetActiveScheme(const GUID& scheme);

    uint32_t Calls(const std::wstring& exportName) const { return Get(L"Calls:" + exportName).value_or(0); }
    static std::wstring ValueName(const GUID& subgroup, const GUID& setting, bool onBattery,
                                  const GUID& scheme = kDefaultScheme);
};

/// One number or text of the store; for the library and for tests alike.
std::optional<uint32_t> ReadPowerNumber(const std::wstring& name);
void WritePowerNumber(const std::wstring& name, uint32_t number);
std::optional<GUID> ReadActiveScheme();
void WriteActiveScheme(const GUID& scheme);

}  // namespace test_support
