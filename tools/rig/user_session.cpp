#include "tools/rig/user_session.h"

#include <stdexcept>

#include <windows.h>

#include "frame/handles.h"
#include "frame/module_path.h"
#include "frame/text.h"
#include "tools/rig/child_process.h"

namespace rig {

namespace {

constexpr const wchar_t* kHostDefaults = L"Software\\Wine\\AppDefaults\\optimizerhost.exe";
constexpr ULONGLONG kPatienceMs = 10000;
constexpr const wchar_t* kVersion = L"Version";
constexpr const wchar_t* kEffectsKey =
    L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\VisualEffects";
constexpr const wchar_t* kBalloonKey = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Advanced";
constexpr const wchar_t* kBalloonValue = L"EnableBalloonTips";
constexpr const wchar_t* kToastKey =
    L"Software\\Policies\\Microsoft\\Windows\\CurrentVersion\\PushNotifications";
constexpr const wchar_t* kToastValue = L"NoToastApplicationNotification";

int UserValue(const wchar_t* key, const wchar_t* value) {
    DWORD data = 0;
    DWORD sizeBytes = sizeof(data);
    const LSTATUS error =
        RegGetValueW(HKEY_CURRENT_USER, key, value, RRF_RT_REG_DWORD, nullptr, &data, &sizeBytes);
    return error == ERROR_SUCCESS ? static_cast<int>(data) : -1;
}

std::wstring ScratchSession() {
    return L"\"" + optimizer::GetModuleFolder() + L"scratch_session.exe\"";
}

/// The first program that touches Wine's desktop starts a process which keeps the output that it inherits
/// open for good. So the first has none.
void WakeDesktop() {
    std::wstring command = ScratchSession();
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    PROCESS_INFORMATION information = {};
    if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &information)) {
        throw std::runtime_error("scratch_session.exe can't be started");
    }
    const optimizer::KernelHandle process(information.hProcess);
    const optimizer::KernelHandle thread(information.hThread);
    WaitForSingleObject(process.Get(), INFINITE);
}

/// What the program prints, a line for each argument.
std::vector<std::string> RunScratchSession(const std::vector<std::string>& arguments) {
    std::wstring command = ScratchSession();
    for (const std::string& argument : arguments)
        command += L" \"" + optimizer::Widen(argument) + L"\"";
    ProgramRun run = RunProgram(command);
    if (run.exitCode != 0 || run.lines.size() != arguments.size()) {
        throw std::runtime_error("the session doesn't tell its visual effects");
    }
    return std::move(run.lines);
}

}  // namespace

UserSession::UserSession(const std::wstring& windowsVersion) {
    WakeDesktop();
    for (const wchar_t* const key : {kEffectsKey, kBalloonKey})
        RegCreateKeyW(HKEY_CURRENT_USER, key, optimizer::RegistryKey().Receive());
    RegSetKeyValueW(HKEY_CURRENT_USER, kHostDefaults, kVersion, REG_SZ, windowsVersion.c_str(),
                    static_cast<DWORD>((windowsVersion.size() + 1) * sizeof(wchar_t)));
}

UserSession::~UserSession() {
    RegDeleteKeyValueW(HKEY_CURRENT_USER, kHostDefaults, kVersion);
}

EffectValues UserSession::Effects(const std::vector<std::string>& keys) {
    const std::vector<std::string> lines = RunScratchSession(keys);
    EffectValues values;
    for (size_t i = 0; i < keys.size(); ++i)
        values[keys[i]] = std::stoi(lines[i]);
    return values;
}

bool UserSession::Reaches(const EffectValues& wanted) {
    std::vector<std::string> keys;
    for (const auto& [key, value] : wanted)
        keys.push_back(key);
    const ULONGLONG last = GetTickCount64() + kPatienceMs;
    while (Effects(keys) != wanted) {
        if (GetTickCount64() > last) return false;
    }
    return true;
}

void UserSession::SetEffect(const std::string& key, int value) {
    RunScratchSession({key + "=" + std::to_string(value)});
}

int UserSession::ToastPolicy() {
    return UserValue(kToastKey, kToastValue);
}

int UserSession::Balloons() {
    return UserValue(kBalloonKey, kBalloonValue);
}

void UserSession::ForgetNotifications() {
    RegDeleteTreeW(HKEY_CURRENT_USER, kToastKey);
    RegDeleteKeyValueW(HKEY_CURRENT_USER, kBalloonKey, kBalloonValue);
}

const std::vector<std::string>& AllEffects() {
    static const std::vector<std::string> keys = {"minimize_animations",
                                                  "animations_inside_windows",
                                                  "slide_animations_combobox",
                                                  "shadows_under_cursor",
                                                  "smooth_scroll_listboxes",
                                                  "slide_animations_menus",
                                                  "fade_out_after_clicking",
                                                  "tool_tip_animations",
                                                  "tool_tips_slide",
                                                  "aero",
                                                  "shadows_under_windows",
                                                  "smooth_edge_fonts",
                                                  "flat_menus",
                                                  "fade_ menus",
                                                  "gradient_captions",
                                                  "hot_trackings"};
    return keys;
}

}  // namespace rig
