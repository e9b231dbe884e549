#include "tests/support/fake_session.h"

#include <utility>

#include <wtsapi32.h>

#include "actions/user_sid.h"
#include "comm/byte_stream.h"
#include "frame/users_library.h"
#include "tests/support/simulated_users.h"

namespace test_support {

FakeSession g_session;

namespace {

BOOL WINAPI ParametersInfo(UINT action, UINT number, void* argument, UINT flags) {
    const bool animation = action == SPI_GETANIMATION || action == SPI_SETANIMATION;
    auto* const info = static_cast<ANIMATIONINFO*>(argument);
    bool sound = !animation || (number == 8 && info->cbSize == 8);
    if (const auto effect = g_session.effects.find(action); effect != g_session.effects.end()) {
        *(animation ? &info->iMinAnimate : static_cast<int*>(argument)) = effect->second;
        sound = sound && flags == 0 && (animation || number == 0);
    } else {
        const int value =
            animation ? info->iMinAnimate : static_cast<int>(reinterpret_cast<intptr_t>(argument));
        const UINT expected = action == SPI_SETFONTSMOOTHING ? static_cast<UINT>(value) : 0;
        sound = sound && flags == SPIF_UPDATEINIFILE && (animation || number == expected);
        g_session.effects[action - 1] = value;
    }
    if (!sound) g_session.misuses.push_back(std::to_wstring(action));
    return sound;
}

LRESULT WINAPI Broadcast(HWND window, UINT message, WPARAM, LPARAM area, UINT flags, UINT timeoutMs,
                         PDWORD_PTR) {
    if (window == HWND_BROADCAST && message == WM_SETTINGCHANGE && flags == 3) {
        g_session.broadcasts.push_back(reinterpret_cast<const wchar_t*>(area) + std::wstring(L" ") +
                                       std::to_wstring(timeoutMs));
    }
    return 1;
}

DWORD WINAPI Wait(HANDLE handle, DWORD timeoutMs) {
    if (timeoutMs == 5000) ++g_session.waits;
    return WaitForSingleObjectEx(handle, timeoutMs == 5000 ? 0 : timeoutMs, FALSE);
}

BOOL WINAPI VerifyVersion(OSVERSIONINFOEXW* wanted, DWORD, DWORDLONG) {
    return wanted->dwMajorVersion == 6 && static_cast<int>(wanted->dwMinorVersion) <= g_session.minorVersion;
}

std::wstring WineUser() {
    wchar_t name[256] = L"";
    DWORD length = 256;
    return GetUserNameW(name, &length) ? name : L"";
}

}  // namespace

UserRegistry::UserRegistry(std::wstring key) {
    std::wstring sid;
    if (optimizer::LookUpSid(WineUser(), sid) == 0) m_path = sid + L"\\" + std::move(key);
    Remove();
}

UserRegistry::~UserRegistry() {
    Remove();
}

void UserRegistry::Make() const {
    optimizer::RegistryKey key;
    RegCreateKeyExW(HKEY_USERS, m_path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.Receive(),
                    nullptr);
}

void UserRegistry::Remove() const {
    RegDeleteTreeW(HKEY_USERS, m_path.c_str());
}

int UserRegistry::Get(const wchar_t* value) const {
    DWORD data = 0;
    DWORD sizeBytes = sizeof(data);
    const LSTATUS error =
        RegGetValueW(HKEY_USERS, m_path.c_str(), value, RRF_RT_REG_DWORD, nullptr, &data, &sizeBytes);
    return error == ERROR_SUCCESS ? static_cast<int>(data) : -1;
}

void UserRegistry::Set(const wchar_t* value, DWORD data) const {
    RegSetKeyValueW(HKEY_USERS, m_path.c_str(), value, REG_DWORD, &data, sizeof(data));
}

AgentPair::AgentPair() {
    g_session = {};
    optimizer::VxUsersLibrary::Instance().Bind();
    SetSimulatedUser(L"", WineUser().c_str());
    SimulatedUsers() = {};
    host.manager.plugins = {{L"connserver", &connector.server},
                            {L"connclient", &connector.client},
                            {L"optimizeragentserver", &server}};
    server.Init(&host);
    server.Start();
    agent.Init(&host);
    agent.Start();
}

AgentPair::~AgentPair() {
    agent.Stop();
    agent.UnInit();
    server.Stop();
    server.UnInit();
}

std::string Packed(const std::string& text) {
    optimizer::CByteStream stream;
    stream.WriteNarrowString(text.c_str());
    return {static_cast<const char*>(stream.Data()), stream.SizeBytes()};
}

}  // namespace test_support

// In place of the import libraries'.
BOOL WINAPI WTSQuerySessionInformationW(HANDLE, DWORD, WTS_INFO_CLASS which, wchar_t** buffer, DWORD*) {
    *buffer = _wcsdup(test_support::g_session.domain.c_str());
    return which == WTSDomainName && !test_support::g_session.domain.empty();
}

void WINAPI WTSFreeMemory(void* memory) {
    free(memory);
}

extern "C" {
decltype(&SystemParametersInfoW) __imp_SystemParametersInfoW = &test_support::ParametersInfo;
decltype(&SendMessageTimeoutW) __imp_SendMessageTimeoutW = &test_support::Broadcast;
decltype(&WaitForSingleObject) __imp_WaitForSingleObject = &test_support::Wait;
decltype(&VerifyVersionInfoW) __imp_VerifyVersionInfoW = &test_support::VerifyVersion;
}
