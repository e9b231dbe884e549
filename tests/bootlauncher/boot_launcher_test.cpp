// The boot launcher is really started: a program of that name lies beside this one, and ends with the number
// of the arguments that reached it. Time is driven by hand.
#include <gtest/gtest.h>

#include "bootlauncher/boot_launcher_check_exec.h"
#include "bootlauncher/boot_launcher_exec.h"
#include "frame/module_path.h"
#include "frame/users_library.h"
#include "tests/support/fake_host.h"
#include "tests/support/simulated_users.h"
#include "tools/rig/temporary_folder.h"

namespace {

struct Launched {
    std::wstring command;
    DWORD arguments;
};
std::vector<Launched> g_launched;
DWORD g_refusal = 0;  // the error that a start ends with

BOOL WINAPI Create(const wchar_t* program, wchar_t* command, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*,
                   BOOL inherits, DWORD flags, void*, const wchar_t*, STARTUPINFOW* startup,
                   PROCESS_INFORMATION* information) {
    const bool asTold =
        program == nullptr && inherits != FALSE && flags == CREATE_NO_WINDOW && startup->cb == 104;
    g_launched.push_back({asTold ? command : L"in another way", 0});
    if (g_refusal != 0) return SetLastError(g_refusal), FALSE;
    if (!CreateProcessAsUserW(nullptr, program, command, nullptr, nullptr, inherits, flags, nullptr, nullptr,
                              startup, information)) {
        return FALSE;
    }
    WaitForSingleObject(information->hProcess, 10000);
    GetExitCodeProcess(information->hProcess, &g_launched.back().arguments);
    return TRUE;
}

}  // namespace

extern "C" {
decltype(&CreateProcessW) __imp_CreateProcessW = &Create;
}

namespace optimizer {
namespace {

constexpr const wchar_t* kProduct = L"Software\\OptimizerTest";
constexpr const wchar_t* kKey = L"Software\\OptimizerTest\\BootLanuncher.executed";

class BootLauncher : public testing::Test {
protected:
    BootLauncher() {
        CreateDirectoryW((GetModuleFolder() + L"settings").c_str(), nullptr);
        rig::WriteFileText(GetModuleFolder() + L"settings\\productinfo.json",
                           R"({"0":{"BASE":"OptimizerTest"}})");
        RegDeleteTreeW(HKEY_CURRENT_USER, kProduct);
        g_launched.clear();
    }
    ~BootLauncher() override {
        RegDeleteTreeW(HKEY_CURRENT_USER, kProduct);
        g_refusal = 0;
    }

    test_support::FakeHost host;
};

TEST_F(BootLauncher, RunsOnceForALoadedHiveAndIsTriedAgainUntilThen) {
    for (int life = 0; life < 2; ++life) {
        CBootLauncherExec launcher;
        launcher.Start();  // without a host: nothing
        launcher.Init(&host);
        launcher.Init(nullptr);
        launcher.Start();
        ASSERT_EQ(host.queue.Pending(), std::vector<std::wstring>{L"bootlauncher_item"});
        EXPECT_EQ(host.queue.Last().periodMs, 300000U);
        EXPECT_EQ(host.queue.Last().repeatCount, 0xFFFFFFFFU);
        EXPECT_EQ(g_launched.size(), life == 0 ? 0U : 2U) << "not at the start itself";
        g_refusal = life == 0 ? ERROR_FILE_NOT_FOUND : 0;
        host.queue.FireTimers();
        RegistryKey key;
        EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, kKey, 0, KEY_READ, key.Receive()) == 0, life == 1);
        g_refusal = 0;
        host.queue.FireTimers();
        host.queue.FireTimers();
        ASSERT_EQ(g_launched.size(), 2U) << "the one that failed and the one that didn't";
        launcher.Stop();
        launcher.Stop();
        launcher.UnInit();
        launcher.UnInit();
        EXPECT_TRUE(host.queue.Pending().empty());
        EXPECT_EQ(host.queue.openHandles, 0);
    }
    EXPECT_EQ(g_launched[0].command, g_launched[1].command) << "with the time of the start";
    EXPECT_EQ(g_launched[1].command.rfind(L"BootLauncher.exe /time:1", 0), 0U);
    EXPECT_EQ(g_launched[1].arguments, 1U);
    RegistryKey parent;
    RegistryKey child;
    RegOpenKeyExW(HKEY_CURRENT_USER, kKey, 0, KEY_ALL_ACCESS, parent.Receive());
    EXPECT_EQ(RegCreateKeyExW(parent.Get(), L"x", 0, nullptr, 0, KEY_READ, nullptr, child.Receive(), nullptr),
              ERROR_CHILD_MUST_BE_VOLATILE);
}

TEST_F(BootLauncher, ATimerThatCantBeHadIsSurvived) {
    CBootLauncherExec launcher;
    launcher.Init(&host);
    host.queue.postError = ERROR_OUTOFMEMORY;
    launcher.Start();
    host.hasQueue = false;
    launcher.Start();
    launcher.Stop();
    EXPECT_EQ(host.queue.openHandles, 0);
}

TEST_F(BootLauncher, EachLogoffChecksTheUserWhoLeaves) {
    VxUsersLibrary::Instance().Bind();
    CUserLogon& tracker = CUserLogon::Instance();
    CBootLauncherCheckExec check;
    for (const wchar_t* const appData : {L"C:\\Users\\an ne\\AppData", L""}) {
        test_support::SetSimulatedUser(L"DOM", L"ann", 1, appData);
        ASSERT_EQ(tracker.Init(&host), 0U);
        check.OnLogon(1, L"DOM\\ann");
        EXPECT_TRUE(g_launched.empty());
        check.OnLogoff(1, L"DOM\\ann");
        ASSERT_EQ(g_launched.size(), 1U);
        const std::wstring expected =
            *appData != 0 ? L"\"/checkuser:C:\\Users\\an ne\\AppData\"" : L"/checkcrtuser";
        EXPECT_EQ(g_launched[0].command, L"BootLauncher.exe " + expected);
        EXPECT_EQ(g_launched[0].arguments, 1U) << "blanks don't split it";
        tracker.Uninit();
        g_launched.clear();
    }
}

}  // namespace
}  // namespace optimizer
