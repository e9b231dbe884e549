#include "tests/support/simulated_power.h"

#include <cwchar>

#include <objbase.h>

namespace test_support {

std::wstring GuidText(const GUID& guid) {
    wchar_t text[39] = {};
    StringFromGUID2(guid, text, 39);
    return text;
}

std::optional<uint32_t> ReadPowerNumber(const std::wstring& name) {
    DWORD number = 0;
    DWORD sizeBytes = sizeof(number);
    const LSTATUS error = RegGetValueW(HKEY_CURRENT_USER, kPowerKey, name.c_str(), RRF_RT_REG_DWORD, nullptr,
                                       &number, &sizeBytes);
    if (error != ERROR_SUCCESS) return std::nullopt;
    return number;
}

void WritePowerNumber(const std::wstring& name, uint32_t number) {
    RegSetKeyValueW(HKEY_CURRENT_USER, kPowerKey, name.c_str(), REG_DWORD, &number, sizeof(number));
}

SimulatedPower::SimulatedPower() {
    RegDeleteTreeW(HKEY_CURRENT_USER, kPowerKey);
}

SimulatedPower::~SimulatedPower() {
    RegDeleteTreeW(HKEY_CURRENT_USER, kPowerKey);
}

void SimulatedPower::Set(const std::wstring& name, uint32_t number) {
    WritePowerNumber(name, number);
}

void SimulatedPower::Remove(const std::wstring& name) {
    RegDeleteKeyValueW(HKEY_CURRENT_USER, kPowerKey, name.c_str());
}

std::optional<uint32_t> SimulatedPower::Get(const std::wstring& name) const {
    return ReadPowerNumber(name);
}

std::wstring SimulatedPower::ValueName(const GUID& subgroup, const GUID& setting, bool onBattery,
                                       const GUID& scheme) {
    return GuidText(scheme) + L"/" + GuidText(subgroup) + L"/" + GuidText(setting) +
           (onBattery ? L"/DC" : L"/AC");
}

}  // namespace test_support
