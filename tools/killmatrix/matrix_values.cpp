#include "tools/killmatrix/matrix_values.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <utility>
#include <vector>

#include <windows.h>

#include "frame/handles.h"
#include "frame/text.h"
#include "tests/support/simulated_power.h"

namespace killmatrix {

namespace {

using optimizer::Narrow;
using optimizer::Widen;

constexpr const char* kPower = "power/";
constexpr const char* kNone = "none";
constexpr const wchar_t* kDesktop = L"Control Panel\\Desktop";

struct UserSetting {
    const char* name;
    const wchar_t* key;
    const wchar_t* value;
};
constexpr UserSetting kUserSettings[] = {
    {"user/toasts", L"Software\\Policies\\Microsoft\\Windows\\CurrentVersion\\PushNotifications",
     L"NoToastApplicationNotification"},
    {"user/balloons", L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Advanced",
     L"EnableBalloonTips"},
    // The visual effects of the profiles are kept in these two.
    {"user/font smoothing", kDesktop, L"FontSmoothing"},
    {"user/preferences", kDesktop, L"UserPreferencesMask"},
};

/// Readable names for the parts of a value's name in the power store.
constexpr std::pair<const wchar_t*, const wchar_t*> kPowerNames[] = {
    {L"{381B4222-F694-41F0-9685-FF5BB260DF2E}", L"balanced"},
    {L"{7516B95F-F776-4464-8C53-06167F40CC99}", L"video"},
    {L"{17AAA29B-8B43-4B94-AAFE-35F64DAAF1EE}", L"dim"},
    {L"{F1FBFDE2-A960-4165-9F88-50667911CE96}", L"dim level"},
    {L"{3C0BC021-C8A8-4E07-A973-6B14CBCB2B7E}", L"display off"},
    {L"{ADED5E82-B909-4619-9949-F5D71DAC0BCB}", L"brightness"},
    {L"{FBD9AA66-9553-4097-BA44-ED6E9D65EAB8}", L"adaptive"},
    {L"{238C9FA8-0AAD-41ED-83F4-97BE242C8F20}", L"sleep"},
    {L"{29F6C1DB-86DA-48C5-9FDB-F2B67B1F44DA}", L"standby"},
    {L"{BD3B718A-0680-4D9D-8AB2-E1D2B4AC806D}", L"wake timers"},
    {L"{94AC6D29-73CE-41A6-809F-6363BA21B47E}", L"hibernate"},
    {L"{9D7815A6-7EE4-497E-8888-515A05F02364}", L"hibernate time"},
    {L"{E73A048D-BF27-4F12-9731-8B2076E8891F}", L"battery"},
    {L"{9A66D8D7-4FF7-4EF9-B5A2-5A326CA2A469}", L"low level"},
    {L"{637EA02F-BBCB-4015-8E2C-A1C7B9C0B546}", L"low action"},
    {L"{54533251-82BE-4824-96C1-47B60B740D00}", L"processor"},
    {L"{94D3A615-A899-4AC5-AE2B-E4D8F634367F}", L"cooling"},
    {L"{BC5038F7-23E0-4960-96DA-33ABAF5935EC}", L"most"},
    {L"{2A737441-1930-4402-8D77-B2BEBBA308A3}", L"usb"},
    {L"{48E6B7A6-50F5-4782-A5D4-53BB8F07E226}", L"suspend"},
};

/// Puts names in place of the parts that have one, or the parts in place of the names.
std::wstring Translate(const std::wstring& path, bool toNames) {
    std::wstring translated;
    for (size_t begin = 0; begin <= path.size();) {
        const size_t end = std::min(path.find(L'/', begin), path.size());
        std::wstring part = path.substr(begin, end - begin);
        for (const auto& [guid, name] : kPowerNames) {
            if (part != (toNames ? guid : name)) continue;
            part = toNames ? name : guid;
            break;
        }
        translated += (begin == 0 ? L"" : L"/") + part;
        begin = end + 1;
    }
    return translated;
}

std::string DescribeData(DWORD type, const std::vector<BYTE>& data) {
    if (type == REG_DWORD && data.size() == sizeof(DWORD)) {
        return "dword:" + std::to_string(*reinterpret_cast<const DWORD*>(data.data()));
    }
    if (type == REG_SZ) return "text:" + Narrow(reinterpret_cast<const wchar_t*>(data.data()));
    std::string text = "binary:";
    for (const BYTE byte : data) {
        constexpr const char* kDigits = "0123456789abcdef";
        text += {kDigits[byte >> 4], kDigits[byte & 15]};
    }
    return text;
}

std::string ReadValue(const wchar_t* key, const wchar_t* name) {
    std::vector<BYTE> data(512);
    DWORD type = 0;
    auto sizeBytes = static_cast<DWORD>(data.size());
    const LSTATUS error =
        RegGetValueW(HKEY_CURRENT_USER, key, name, RRF_RT_ANY, &type, data.data(), &sizeBytes);
    if (error != ERROR_SUCCESS) return kNone;
    data.resize(sizeBytes);
    return DescribeData(type, data);
}

void WriteValue(const wchar_t* key, const wchar_t* name, const std::string& text) {
    if (text == kNone) {
        RegDeleteKeyValueW(HKEY_CURRENT_USER, key, name);
        return;
    }
    const size_t colon = text.find(':');
    const std::string kind = text.substr(0, colon);
    const std::string rest = colon == std::string::npos ? "" : text.substr(colon + 1);
    LSTATUS error = ERROR_INVALID_DATA;
    if (kind == "dword") {
        const DWORD number = std::stoul(rest);
        error = RegSetKeyValueW(HKEY_CURRENT_USER, key, name, REG_DWORD, &number, sizeof(number));
    } else if (kind == "text") {
        const std::wstring wide = Widen(rest);
        error = RegSetKeyValueW(HKEY_CURRENT_USER, key, name, REG_SZ, wide.c_str(),
                                static_cast<DWORD>((wide.size() + 1) * sizeof(wchar_t)));
    } else if (kind == "binary") {
        std::vector<BYTE> data;
        for (size_t i = 0; i + 1 < rest.size(); i += 2)
            data.push_back(static_cast<BYTE>(std::stoul(rest.substr(i, 2), nullptr, 16)));
        error = RegSetKeyValueW(HKEY_CURRENT_USER, key, name, REG_BINARY, data.data(),
                                static_cast<DWORD>(data.size()));
    }
    if (error != ERROR_SUCCESS) throw std::runtime_error("can't write a value as " + text);
}

/// The names of the power store's values. How often its functions were called isn't a setting.
std::vector<std::wstring> PowerValues() {
    optimizer::RegistryKey key;
    RegCreateKeyW(HKEY_CURRENT_USER, test_support::kPowerKey, key.Receive());
    std::vector<std::wstring> names;
    for (DWORD index = 0;; ++index) {
        wchar_t name[512] = {};
        auto length = static_cast<DWORD>(std::size(name));
        if (RegEnumValueW(key.Get(), index, name, &length, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS)
            return names;
        if (!std::wstring(name).starts_with(L"Calls:")) names.emplace_back(name);
    }
}

std::string PowerLine(const std::wstring& name) {
    return kPower + Narrow(Translate(name, true));
}

}  // namespace

void DescribeValues(Picture& picture) {
    for (const std::wstring& name : PowerValues())
        picture[PowerLine(name)] = ReadValue(test_support::kPowerKey, name.c_str());
    for (const UserSetting& setting : kUserSettings)
        picture[setting.name] = ReadValue(setting.key, setting.value);
    // The way back is told as "always on", which is what a user without the value has.
    std::string& balloons = picture["user/balloons"];
    if (balloons == kNone) balloons = "dword:1";
}

void RestoreValues(const Picture& wanted) {
    for (const std::wstring& name : PowerValues()) {
        if (!wanted.contains(PowerLine(name))) WriteValue(test_support::kPowerKey, name.c_str(), kNone);
    }
    for (const auto& [line, text] : wanted) {
        if (!line.starts_with(kPower)) continue;
        const std::wstring name = Translate(Widen(line.substr(std::string(kPower).size())), false);
        WriteValue(test_support::kPowerKey, name.c_str(), text);
    }
    for (const UserSetting& setting : kUserSettings)
        WriteValue(setting.key, setting.value, wanted.at(setting.name));
}

}  // namespace killmatrix
