// Notifications are blocked in the real registry of the Wine user; the agents are told afterwards.
#include <gtest/gtest.h>

#include "actions/block_win_notifications_action.h"
#include "actions/disable_balloon_action.h"
#include "actions/user_hive.h"
#include "frame/handles.h"
#include "tests/support/fake_session.h"
#include "tests/support/simulated_users.h"
#include "tools/rig/temporary_folder.h"

namespace optimizer {
namespace {

using test_support::g_session;
using test_support::SimulatedUsers;

constexpr const wchar_t* kPolicyKey =
    L"Software\\Policies\\Microsoft\\Windows\\CurrentVersion\\PushNotifications";
constexpr const wchar_t* kPolicyValue = L"NoToastApplicationNotification";
constexpr const wchar_t* kBalloonKey = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Advanced";

int Policy() {
    return test_support::UserValue(kPolicyKey, kPolicyValue);
}

int Balloons() {
    return test_support::UserValue(kBalloonKey, L"EnableBalloonTips");
}

BlockWinNotificationsParams Blocked(const std::string& text) {
    BlockWinNotificationsParams params;
    const picojson::value json(picojson::object{{"BlockStatus", picojson::value(text)}});
    params.FromJson(&json);
    return params;
}

class Notifications : public testing::Test {
protected:
    ~Notifications() override {
        RegDeleteTreeW(HKEY_CURRENT_USER, kPolicyKey);
        RegDeleteTreeW(HKEY_CURRENT_USER, kBalloonKey);
    }
    test_support::AgentPair pair;
};

TEST_F(Notifications, ThePolicyIsSetAndComesBackFromEachStateItCanBeIn) {
    for (const int before : {-1, 0, 1}) {
        for (const auto& [text, value] : {std::pair("enabled", 1), {"disabled", 0}, {"not_configured", -1}}) {
            RegDeleteTreeW(HKEY_CURRENT_USER, kPolicyKey);
            if (before >= 0)
                RegSetKeyValueW(HKEY_CURRENT_USER, kPolicyKey, kPolicyValue, REG_DWORD, &before, 4);
            CBlockWinNotificationsAction action(Blocked(text), &pair.host);
            EXPECT_EQ(action.Revert(), 31U) << "nothing noted";
            EXPECT_EQ(action.Note(nullptr), 0U);
            EXPECT_EQ(Policy(), before) << "a note changes nothing";
            EXPECT_EQ(action.Start(), 0U);
            EXPECT_EQ(Policy(), value) << text;
            EXPECT_EQ(action.Revert(), 31U) << "also when it worked";
            EXPECT_EQ(Policy(), before) << text;
            EXPECT_EQ(action.FinishRevert(), 0U);
        }
    }
    EXPECT_EQ(g_session.broadcasts.back(), L"Policy 300");
}

/// A user who isn't logged on, with a profile folder of the test's.
class AbsentUser {
public:
    AbsentUser() {
        // A key that the registry writes to a file is a hive as any other.
        RegistryKey key;
        RegCreateKeyW(HKEY_CURRENT_USER, L"Software\\optimizeral-tests\\absent", key.Receive());
        RegSetKeyValueW(key.Get(), kPolicyKey, kPolicyValue, REG_DWORD, &kBlocked, sizeof(kBlocked));
        HANDLE token = nullptr;
        OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES, &token);
        const KernelHandle owner(token);
        TOKEN_PRIVILEGES backup = {1, {{{}, SE_PRIVILEGE_ENABLED}}};
        LookupPrivilegeValueW(nullptr, SE_BACKUP_NAME, &backup.Privileges[0].Luid);
        AdjustTokenPrivileges(token, FALSE, &backup, 0, nullptr, nullptr);
        EXPECT_EQ(RegSaveKeyW(key.Get(), m_folder.File(L"NTUSER.DAT").c_str(), nullptr), ERROR_SUCCESS);
        const std::wstring path = m_folder.Path();
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, kProfile, L"ProfileImagePath", REG_SZ, path.c_str(),
                        static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t)));
    }
    ~AbsentUser() {
        RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\optimizeral-tests\\absent");
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, kProfile);
    }
    AbsentUser(const AbsentUser&) = delete;
    AbsentUser& operator=(const AbsentUser&) = delete;

    static int Policy() {
        DWORD value = 0;
        DWORD sizeBytes = sizeof(value);
        const std::wstring path = std::wstring(kSid) + L"\\" + kPolicyKey;
        const LSTATUS error = RegGetValueW(HKEY_USERS, path.c_str(), kPolicyValue, RRF_RT_REG_DWORD, nullptr,
                                           &value, &sizeBytes);
        return error == ERROR_SUCCESS ? static_cast<int>(value) : -1;
    }

    static constexpr const wchar_t* kSid = L"S-1-5-21-1-2-3-4567";

private:
    static constexpr DWORD kBlocked = 1;
    static constexpr const wchar_t* kProfile =
        L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList\\S-1-5-21-1-2-3-4567";

    rig::TemporaryFolder m_folder;
};

TEST_F(Notifications, AUserWhoIsNotLoggedOnGetsThePolicyBackToo) {
    const AbsentUser user;
    EXPECT_EQ(AbsentUser::Policy(), -1) << "not loaded";
    EXPECT_NE(UserHive(L"S-1-5-21-9-9-9-9").Error(), 0U);
    {
        const UserHive hive(AbsentUser::kSid);
        ASSERT_EQ(hive.Error(), 0U);
        EXPECT_EQ(AbsentUser::Policy(), 1);
        CBlockWinNotificationsAction action(Blocked("disabled"), &pair.host);
        EXPECT_TRUE(action.ActFor(AbsentUser::kSid));
        EXPECT_EQ(action.PutBack(), 0U);
        EXPECT_EQ(AbsentUser::Policy(), 0);  // Wine doesn't write it to the file at the end; Windows does
        EXPECT_EQ(Policy(), -1) << "nobody else's";
    }
    EXPECT_EQ(AbsentUser::Policy(), -1);
}

TEST_F(Notifications, AnUpdateWhoseMessageFailedIsTriedAgain) {
    CBlockWinNotificationsAction action(Blocked("enabled"), &pair.host);
    BlockWinNotificationsParams disabled = Blocked("disabled");
    EXPECT_EQ(action.Start(), 0U);
    for (const uint32_t code : {233, 0}) {
        pair.connector.server.end.sendResult = code;
        EXPECT_EQ(action.Update(&disabled), 0U);
        EXPECT_EQ(Policy(), 0);
        EXPECT_EQ(action.HasSameParameters(&disabled), code == 0) << "stored only when it worked";
    }
}

TEST_F(Notifications, BalloonsGoOffForEveryAccountOrForNone) {
    UserRecord known = {};
    UserRecord unknown = {L"nobody here", L"", 0, 0, L""};
    DWORD length = 50;
    GetComputerNameW(known.domain, &length);
    length = 50;
    GetUserNameW(known.name, &length);
    UserRecord* both[] = {&known, nullptr, &unknown};
    UserList all = {both, both + 3};
    UserList one = {both, both + 2};
    struct Case {
        UserList* accounts;
        bool keyThere;
        bool written;
    };
    // Every account; one has no identifier; one has no key; no list.
    const Case kCases[] = {
        {&one, true, true}, {&all, true, false}, {&one, false, false}, {nullptr, true, false}};
    for (const Case& each : kCases) {
        RegDeleteTreeW(HKEY_CURRENT_USER, kBalloonKey);
        if (each.keyThere) RegCreateKeyW(HKEY_CURRENT_USER, kBalloonKey, RegistryKey().Receive());
        SimulatedUsers() = {.accounts = each.accounts};
        g_session.broadcasts.clear();
        CDisableBalloonAction action(&pair.host);
        EXPECT_EQ(action.Note(nullptr) == 0, each.accounts == &one);
        EXPECT_EQ(action.Start(), each.written ? 0U : 31U);
        EXPECT_EQ(Balloons(), each.written ? 0 : -1);
        action.Revert();
        EXPECT_EQ(Balloons(), each.keyThere && each.accounts != nullptr ? 1 : -1) << "those that are known";
        EXPECT_EQ(action.FinishRevert() == 0, each.accounts == &one) << "back where there is anything";
        EXPECT_EQ(g_session.broadcasts, std::vector<std::wstring>(2, L"intl 200")) << "told in all cases";
    }
}

}  // namespace
}  // namespace optimizer
