#include "tests/support/fake_session.h"

#include <utility>

#include <gtest/gtest.h>

#include "comm/byte_stream.h"
#include "frame/users_library.h"
#include "tests/support/simulated_users.h"

namespace test_support {

FakeSession g_session;

namespace {

BOOL WINAPI ParametersInfo(UINT action, UINT number, void* argument, UINT flags) {
    const bool reads = g_session.effects.contains(action);
    int* value = reads ? &g_session.effects[action] : &g_session.effects[action - 1];
    bool sound = flags == (reads ? 0 : SPIF_UPDATEINIFILE);
    if (action == SPI_GETANIMATION || action == SPI_SETANIMATION) {
        auto* const info = static_cast<ANIMATIONINFO*>(argument);
        sound = sound && number == 8 && info->cbSize == 8;
        *(reads ? &info->iMinAnimate : value) = reads ? *value : info->iMinAnimate;
    } else if (reads) {
        *static_cast<int*>(argument) = *value;
    } else {
        *value = static_cast<int>(reinterpret_cast<intptr_t>(argument));
        sound = sound && number == (action == SPI_SETFONTSMOOTHING ? static_cast<UINT>(*value) : 0);
    }
    g_session.misuses += sound ? 0 : 1;
    return TRUE;
}

LRESULT WINAPI Broadcast(HWND window, UINT message, WPARAM, LPARAM area, UINT flags, UINT timeoutMs,
                         PDWORD_PTR) {
    const bool asTold = window == HWND_BROADCAST && message == WM_SETTINGCHANGE && flags == 3;
    g_session.broadcasts.push_back(asTold ? reinterpret_cast<const wchar_t*>(area) + std::wstring(L" ") +
                                                std::to_wstring(timeoutMs)
                                          : L"in another way");
    return 1;
}

/// What happens meanwhile happens at once, and whatever doesn't end the wait then never does.
DWORD WINAPI Wait(DWORD count, const HANDLE* handles, BOOL all, DWORD timeoutMs) {
    if (timeoutMs == INFINITE) return WaitForMultipleObjectsEx(count, handles, all, timeoutMs, FALSE);
    std::exchange(g_session.meanwhile, [] {})();
    const DWORD result = WaitForMultipleObjectsEx(count, handles, all, 0, FALSE);
    g_session.waits += result == WAIT_TIMEOUT ? 1 : 0;
    return result;
}

BOOL WINAPI VerifyVersion(OSVERSIONINFOEXW*, DWORD, DWORDLONG) {
    return TRUE;  // Windows 8 and whatever else is asked for
}

}  // namespace

int UserValue(const wchar_t* key, const wchar_t* value) {
    DWORD data = 0;
    DWORD sizeBytes = sizeof(data);
    const LSTATUS error =
        RegGetValueW(HKEY_CURRENT_USER, key, value, RRF_RT_REG_DWORD, nullptr, &data, &sizeBytes);
    return error == ERROR_SUCCESS ? static_cast<int>(data) : -1;
}

AgentPair::AgentPair() {
    g_session = {};
    optimizer::VxUsersLibrary::Instance().Bind();
    wchar_t name[50] = L"";
    DWORD length = 50;
    GetUserNameW(name, &length);
    SetSimulatedUser(L"", name);
    SimulatedUsers() = {};
    host.manager.plugins = {{L"connserver", &connector.server},
                            {L"connclient", &connector.client},
                            {L"optimizeragentserver", static_cast<IOptimizerAgentServer*>(&server)}};
    EXPECT_EQ(server.Init(&host) + server.Start(), 0U);
    BeginAgent();
}

void AgentPair::BeginAgent() {
    EXPECT_EQ(agent.Init(&host), 0U);
    connector.Join();
    EXPECT_EQ(agent.Start(), 0U);
}

void AgentPair::EndAgent() {
    agent.Stop();
    agent.UnInit();
}

AgentPair::~AgentPair() {
    EndAgent();
    server.Stop();
    server.UnInit();
    EXPECT_EQ(connector.client.open + connector.server.open, 0);
    for (const auto& [name, count] : host.manager.references)
        EXPECT_EQ(count, 0) << "left to the host: " << name.size();
    EXPECT_EQ(SimulatedUsers().impersonations, 0) << "a thread stayed somebody else";
    EXPECT_EQ(g_session.misuses, 0);
}

std::string Packed(const std::string& text) {
    optimizer::CByteStream stream;
    stream.WriteNarrowString(text.c_str());
    return {static_cast<const char*>(stream.Data()), stream.SizeBytes()};
}

}  // namespace test_support

extern "C" {
decltype(&SystemParametersInfoW) __imp_SystemParametersInfoW = &test_support::ParametersInfo;
decltype(&SendMessageTimeoutW) __imp_SendMessageTimeoutW = &test_support::Broadcast;
decltype(&WaitForMultipleObjects) __imp_WaitForMultipleObjects = &test_support::Wait;
decltype(&VerifyVersionInfoW) __imp_VerifyVersionInfoW = &test_support::VerifyVersion;
}
