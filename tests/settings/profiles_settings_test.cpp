// The settings files: what each operation reads and writes, and that nothing on disk is lost when a file is
// broken, held by somebody else, or nobody is logged on.
#include "settings/profiles_settings.h"

#include <filesystem>
#include <functional>

#include <gtest/gtest.h>

#include "frame/users_library.h"
#include "tests/support/simulated_users.h"
#include "tools/rig/temporary_folder.h"

namespace {

std::function<void()> g_onSleep;

void WINAPI SleepByHand(DWORD) {
    if (g_onSleep) g_onSleep();
}

}  // namespace

extern "C" {
decltype(&Sleep) __imp_Sleep = &SleepByHand;
}

namespace optimizer {
namespace {

using profiles::profile;
using rig::ReadFileText;
using rig::WriteFileText;
using test_support::SetSimulatedUser;

constexpr const wchar_t* kUserRestore = L"HOME_ann_restore_profile.json";
constexpr const wchar_t* kUserConfig = L"HOME_ann_config_profiles.json";
constexpr const wchar_t* kSystemRestore = L"system_restore_profile.json";
constexpr const wchar_t* kFiles[] = {kUserRestore, kSystemRestore, kUserConfig};
constexpr auto kUserActions = &CProfilesSettings::GetUserActions;
constexpr auto kSystemActions = &CProfilesSettings::GetSystemActions;
const profile kDisabled = profile::Disabled;
const profile kWork = profile::Work;
const profile kGame = profile::Game;

class ProfilesSettings : public testing::Test {
protected:
    ProfilesSettings() {
        EXPECT_TRUE(VxUsersLibrary::Instance().Bind());
        SetSimulatedUser(L"HOME", L"ann");
        Write(L"profiles.json", R"({"Disabled":{"Shipped":{}}})");
        m_store.Init();
    }
    ~ProfilesSettings() override { VxUsersLibrary::Instance().Unbind(); }

    std::string Read(const wchar_t* name) const { return ReadFileText(m_folder.File(name)); }
    void Write(const wchar_t* name, const std::string& text) const {
        WriteFileText(m_folder.File(name), text);
    }
    profile Active() {
        profile active = profile::Battery;
        EXPECT_TRUE(m_store.GetActiveProfile(&active));
        return active;
    }
    /// What one of the operations that give a list gives.
    std::wstring Text(void (CProfilesSettings::*get)(const profile*, std::wstring&), profile which) {
        std::wstring text = L"before";
        (m_store.*get)(&which, text);
        return text;
    }
    /// How many of the operations that write have said yes. SetActiveProfile says nothing, but is called.
    int WriteEverything() {
        const bool on = true;
        m_store.SetActiveProfile(&kGame);
        return m_store.SetModuleStatus(&on) + m_store.SetUserRevertActions(L"{}") +
               m_store.SetSystemRevertActions(L"{}") + m_store.SetConfig(&kWork, L"{}");
    }

    rig::TemporaryFolder m_folder;
    CProfilesSettings m_store{m_folder.Path()};
};

TEST_F(ProfilesSettings, ABrokenFileGivesTheFallBacksAndKeepsItsBytes) {
    const std::pair<const char*, bool> kCases[] = {
        {"", true},  // and may be written
        {R"({"active_profile":"Game","module_status":true,"Disabled":{"X":{}})", false},
        {R"({"active_profile":"Game"}{)", false},
        {"[1,2]", false},
        {R"({"active_profile":7,"module_status":"on","Disabled":[1],"Work":"x"})", true},
    };
    for (const auto& [text, writable] : kCases) {
        SCOPED_TRACE(text);
        for (const wchar_t* const name : kFiles)
            Write(name, text);
        EXPECT_EQ(Active(), kDisabled);
        EXPECT_EQ(Text(kUserActions, kDisabled), LR"({"Shipped":{}})");
        EXPECT_EQ(Text(kSystemActions, kDisabled), LR"({"Shipped":{}})");
        EXPECT_EQ(WriteEverything(), writable ? 4 : 0);
        for (const wchar_t* const name : kFiles)
            EXPECT_EQ(Read(name) == text, !writable);
    }
}

TEST_F(ProfilesSettings, EachWriteChangesItsKeyAndKeepsTheRest) {
    Write(kUserRestore, "{ \"extra\": [1, 2],\n \"active_profile\": \"Work\" }");
    const bool on = true;
    EXPECT_TRUE(m_store.SetModuleStatus(&on));
    EXPECT_EQ(Read(kUserRestore), R"({"active_profile":"Work","extra":[1,2],"module_status":true})");

    // The revert list goes together with the active profile as last loaded or stored.
    m_store.SetActiveProfile(&kGame);
    Write(kUserRestore, R"({"active_profile":"Work","module_status":true})");
    EXPECT_TRUE(m_store.SetUserRevertActions(LR"({"A":{"time":5}})"));
    EXPECT_EQ(Read(kUserRestore),
              R"({"Disabled":{"A":{"time":5}},"active_profile":"Game","module_status":true})");
    EXPECT_TRUE(m_store.SetSystemRevertActions(LR"({"B":{}})"));
    EXPECT_EQ(Read(kSystemRestore), R"({"Disabled":{"B":{}},"active_profile":"Game"})");
    EXPECT_EQ(Text(kUserActions, kDisabled), LR"({"A":{"time":5}})");
    EXPECT_EQ(Text(kSystemActions, kDisabled), LR"({"B":{}})");
    EXPECT_TRUE(m_store.SetConfig(&kGame, LR"({"A":{"active":false}})"));
    EXPECT_TRUE(m_store.SetConfig(&kWork, LR"({ "B" : { "active" : true } })"));
    EXPECT_FALSE(m_store.SetConfig(&kGame, L"{} x")) << "no JSON";
    EXPECT_EQ(Read(kUserConfig), R"({"Game":{"A":{"active":false}},"Work":{"B":{"active":true}}})");
}

TEST_F(ProfilesSettings, WithoutAUserOnlyTheMachinesFilesAreTouched) {
    for (const uint32_t result : {1U, 0U}) {
        SetSimulatedUser(L"HOME", result != 0 ? L"" : L"ann", result);
        profile active = kWork;
        EXPECT_FALSE(m_store.GetActiveProfile(&active));
        EXPECT_EQ(Text(kUserActions, kDisabled), LR"({"Shipped":{}})");
        EXPECT_EQ(WriteEverything(), 1);
        EXPECT_EQ(Read(kSystemRestore), R"({"Disabled":{},"active_profile":"Disabled"})")
            << "a profile that couldn't be stored isn't taken for the active one";
        const std::filesystem::directory_iterator files(m_folder.Path());
        EXPECT_EQ(std::distance(begin(files), end(files)), 2) << "the definitions and the machine's file";
    }
}

TEST_F(ProfilesSettings, UsersHaveTheirOwnFilesAndShareTheMachines) {
    ASSERT_EQ(WriteEverything(), 4);
    SetSimulatedUser(L"B\x00FCro", L"J\x00F6rg");
    EXPECT_EQ(Active(), kDisabled);
    EXPECT_TRUE(m_store.SetConfig(&kWork, L"{\"J\x00F6rg\":{}}"));
    m_store.SetUserRevertActions(L"{}");
    EXPECT_EQ(Read(L"B\x00FCro_J\x00F6rg_restore_profile.json"),
              R"({"Disabled":{},"active_profile":"Disabled"})");
    EXPECT_EQ(Read(L"B\x00FCro_J\x00F6rg_config_profiles.json"), "{\"Work\":{\"J\xC3\xB6rg\":{}}}");
    EXPECT_EQ(Text(kSystemActions, kDisabled), L"{}");
    SetSimulatedUser(L"HOME", L"ann");
    EXPECT_EQ(Active(), kGame);
}

TEST_F(ProfilesSettings, AFileThatSomebodyElseHoldsStaysAsItIs) {
    ASSERT_EQ(WriteEverything(), 4);
    for (const DWORD share : {DWORD{FILE_SHARE_READ}, DWORD{0}}) {
        FileHandle held(CreateFileW(m_folder.File(kUserRestore).c_str(), GENERIC_READ, share, nullptr,
                                    OPEN_EXISTING, 0, nullptr));
        m_store.SetActiveProfile(&kWork);
        EXPECT_EQ(WriteEverything(), 2);
        EXPECT_EQ(Active(), share != 0 ? kGame : kDisabled);
        g_onSleep = [&] { held.Reset(); };  // whoever holds it for a moment only is waited for
        EXPECT_EQ(WriteEverything(), 4);
        EXPECT_FALSE(held);
        g_onSleep = nullptr;
        EXPECT_EQ(Active(), kGame);
    }
}

}  // namespace
}  // namespace optimizer
