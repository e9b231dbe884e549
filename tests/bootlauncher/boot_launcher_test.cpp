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

std::vector<std::wstring> g_launched;  // the command lines, with the exit codes
DWORD g_refusal = 0;                   // the error that a start ends with

BOOL WINAPI Create(const wchar_t* program, wchar_t* command, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*,
                   BOOL inherits, DWORD flags, void*, const wchar_t*, STARTUPINFOW* startup,
                   PROCESS_INFORMATION* information) {
    EXPECT_TRUE(inherits && flags == 0x8000000 && startup->cb == 104);
    EXPECT_EQ(program, optimizer::GetProgramFolder() + L"BootLauncher.exe") << "searched for nowhere else";
    g_launched.emplace_back(command);
    if (g_refusal != 0) return SetLastError(g_refusal), FALSE;
    DWORD arguments = ~0U;
    CreateProcessAsUserW(nullptr, program, command, nullptr, nullptr, inherits, flags, nullptr, nullptr,
                         startup, information);
    WaitForSingleObject(information->hProcess, 10000);
    GetExitCodeProcess(information->hProcess, &arguments);
    g_launched.back() += L" = " + std::to_wstring(arguments);
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
    ~BootLauncher() override { RegDeleteTreeW(HKEY_CURRENT_USER, kProduct); }

    test_support::FakeHost host;
};

TEST_F(BootLauncher, RunsOnceForALoadedHiveAndIsTriedAgainUntilThen) {
    for (const size_t launched : {0, 2}) {
        CBootLauncherExec launcher;
        launcher.Init(&host);
        launcher.Start();
        ASSERT_EQ(host.queue.Pending(), std::vector<std::wstring>{L"bootlauncher_item"});
        EXPECT_EQ(host.queue.Last().periodMs, 300000U);
        EXPECT_EQ(g_launched.size(), launched) << "not at the start itself";
        g_refusal = launched == 0 ? ERROR_FILE_NOT_FOUND : 0;
        host.queue.FireTimers();
        g_refusal = 0;
        host.queue.FireTimers();
        host.queue.FireTimers();
        ASSERT_EQ(g_launched.size(), 2U) << "the one that failed and the one that didn't";
        launcher.Stop();
        launcher.Stop();
        launcher.UnInit();
        EXPECT_TRUE(host.queue.Pending().empty());
        EXPECT_EQ(host.queue.openHandles, 0);
    }
    EXPECT_EQ(g_launched[0].rfind(L"BootLauncher.exe /time:1", 0), 0U);
    EXPECT_EQ(g_launched[1], g_launched[0] + L" = 1") << "with the time of the start";
    RegistryKey parent;
    ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, kKey, 0, KEY_ALL_ACCESS, parent.Receive()), 0);
    EXPECT_EQ(RegCreateKeyW(parent.Get(), L"x", RegistryKey().Receive()), ERROR_CHILD_MUST_BE_VOLATILE);
}

TEST_F(BootLauncher, EachLogoffChecksTheUserWhoLeaves) {
    VxUsersLibrary::Instance().Bind();
    CUserLogon& tracker = CUserLogon::Instance();
    CBootLauncherCheckExec check;
    for (const auto& [appData, command] :
         {std::pair(L"C:\\an ne", L"BootLauncher.exe \"/checkuser:C:\\an ne\" = 1"),
          {L"", L"BootLauncher.exe /checkcrtuser = 1"}}) {
        test_support::SetSimulatedUser(L"DOM", L"ann", 1, appData);
        ASSERT_EQ(tracker.Init(&host), 0U);
        check.OnLogon(1, L"DOM\\ann");
        check.OnLogoff(1, L"DOM\\ann");
        EXPECT_EQ(std::exchange(g_launched, {}), std::vector<std::wstring>{command});
        tracker.Uninit();
    }
    test_support::SetSimulatedUser(L"DOM", L"ann", 1, L"C:\\ann\" /x \"");
    ASSERT_EQ(tracker.Init(&host), 0U);
    check.OnLogoff(1, L"DOM\\ann");
    EXPECT_TRUE(g_launched.empty()) << "a user's folder is one argument or none";
    tracker.Uninit();
}

}  // namespace
}  // namespace optimizer
