// The settings files: what each operation reads and writes, and that nothing on disk is lost when a file is
// broken, held by somebody else, or nobody is logged on.
#include "settings/profiles_settings.h"

#include <filesystem>
#include <functional>
#include <optional>

#include <gtest/gtest.h>

#include "frame/log_binding.h"
#include "frame/users_library.h"
#include "tests/support/simulated_log.h"
#include "tests/support/simulated_users.h"
#include "tests/support/temporary_folder.h"

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
using test_support::ReadFileText;
using test_support::SetSimulatedUser;
using test_support::WriteFileText;

constexpr const wchar_t* kUserRestore = L"HOME_ann_restore_profile.json";
constexpr const wchar_t* kUserConfig = L"HOME_ann_config_profiles.json";
constexpr const wchar_t* kSystemRestore = L"system_restore_profile.json";
constexpr const char* kShipped = R"({"SystemActions":["Services","Updates"],
    "Disabled":{"Shipped":{}}, "Work":{"A":{"active":true}}, "Game":{"B":{}}})";

const profile kDisabled = profile::Disabled;
const profile kWork = profile::Work;
const profile kGame = profile::Game;

class ProfilesSettings : public testing::Test {
protected:
    ProfilesSettings() {
        EXPECT_TRUE(VxUsersLibrary::Instance().Bind());
        SetSimulatedUser(L"HOME", L"ann");
        Write(L"profiles.json", kShipped);
        m_store.Init();
    }
    ~ProfilesSettings() override { VxUsersLibrary::Instance().Unbind(); }

    std::string Read(const wchar_t* name) const { return ReadFileText(m_folder.File(name)); }
    void Write(const wchar_t* name, const std::string& text) const {
        WriteFileText(m_folder.File(name), text);
    }
    size_t CountFiles() const {
        const std::filesystem::directory_iterator files(m_folder.Path());
        return static_cast<size_t>(std::distance(begin(files), end(files)));
    }
    profile Active() {
        profile active = profile::Battery;
        EXPECT_TRUE(m_store.GetActiveProfile(&active));
        return active;
    }
    std::wstring UserActions(profile which) {
        std::wstring text = L"before";
        m_store.GetUserActions(&which, text);
        return text;
    }
    std::wstring SystemActions(profile which) {
        std::wstring text = L"before";
        m_store.GetSystemActions(&which, text);
        return text;
    }
    std::wstring Config(profile which) {
        std::wstring text = L"before";
        EXPECT_TRUE(m_store.GetConfig(&which, text));
        return text;
    }
    /// How many of the operations that write have said yes. SetActiveProfile says nothing, but is called.
    int WriteEverything() {
        const bool on = true;
        m_store.SetActiveProfile(&kGame);
        return m_store.SetModuleStatus(&on) + m_store.SetUserRevertActions(L"{}") +
               m_store.SetSystemRevertActions(L"{}") + m_store.SetConfig(&kWork, L"{}");
    }

    test_support::TemporaryFolder m_folder;
    CProfilesSettings m_store{m_folder.Path()};
};

TEST_F(ProfilesSettings, TheActiveProfileIsKeptByItsName) {
    const char* const kNames[] = {"Disabled", "Work", "Game", "Movie", "Battery"};
    EXPECT_EQ(Active(), kDisabled);
    for (uint32_t value = 5; value-- > 0;) {
        const auto active = static_cast<profile>(value);
        m_store.SetActiveProfile(&active);
        EXPECT_EQ(Read(kUserRestore), std::string(R"({"active_profile":")") + kNames[value] + "\"}");
        EXPECT_EQ(Active(), active);
    }
    for (const char* const name : {"game", "", "Turbo", " Game"}) {
        Write(kUserRestore, std::string(R"({"active_profile":")") + name + "\"}");
        EXPECT_EQ(Active(), kDisabled) << name;
    }
    Write(kUserRestore, R"({ "active_profile" : "Movie" })");
    EXPECT_EQ(Active(), profile::Movie) << "every read goes to the file";
    const auto none = static_cast<profile>(5);
    m_store.SetActiveProfile(&none);
    EXPECT_FALSE(m_store.SetConfig(&none, L"{}"));
    EXPECT_EQ(Config(none), L"{}");
    EXPECT_EQ(Active(), profile::Movie);
    EXPECT_EQ(Read(kUserRestore), R"({ "active_profile" : "Movie" })");
}

TEST_F(ProfilesSettings, ABrokenFileGivesTheFallBacksAndKeepsItsBytes) {
    const struct {
        std::optional<std::string> text;
        bool hasStatus;
        bool writable;
    } kCases[] = {
        {std::nullopt, false, true},
        {"", false, true},
        {R"({"active_profile":"Game","module_status":true,"Disabled":{"X":{}},"Work":{"X":{}})", false,
         false},
        {"{", false, false},
        {"active_profile=Game", false, false},
        {R"({"active_profile":"Game","n":1e999})", false, false},
        {R"({"active_profile":"Game"}{)", false, false},
        {"[1,2]", true, false},
        {R"({"active_profile":7,"module_status":"on","Disabled":[1],"Work":"x"})", true, true},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.text.value_or("no file"));
        for (const wchar_t* const name : {kUserRestore, kSystemRestore, kUserConfig}) {
            DeleteFileW(m_folder.File(name).c_str());
            if (c.text) Write(name, *c.text);
        }
        bool status = true;
        EXPECT_EQ(m_store.GetModuleStatus(&status), c.hasStatus);
        EXPECT_FALSE(status);
        EXPECT_EQ(Active(), kDisabled);
        EXPECT_EQ(UserActions(kDisabled), LR"({"Shipped":{}})");
        EXPECT_EQ(SystemActions(kDisabled), LR"({"Shipped":{}})");
        EXPECT_EQ(Config(kWork), L"{}");
        EXPECT_EQ(WriteEverything(), c.writable ? 4 : 0);
        if (c.writable) {
            EXPECT_EQ(Active(), kGame);
        } else {
            for (const wchar_t* const name : {kUserRestore, kSystemRestore, kUserConfig})
                EXPECT_EQ(Read(name), *c.text);
        }
    }
}

TEST_F(ProfilesSettings, BrokenDefinitionsGiveEmptyListsAndAreNeverWritten) {
    const std::optional<std::string> kCases[] = {std::nullopt, "", "{\"Work\":{}", "[]",
                                                 R"({"SystemActions":{"Services":1},"Work":["A"]})"};
    for (const auto& text : kCases) {
        SCOPED_TRACE(text.value_or("no file"));
        DeleteFileW(m_folder.File(L"profiles.json").c_str());
        if (text) Write(L"profiles.json", *text);
        m_store.Init();
        for (const profile which : {kDisabled, kWork, static_cast<profile>(99)}) {
            EXPECT_EQ(UserActions(which), L"");
            EXPECT_EQ(SystemActions(which), L"");
        }
        EXPECT_FALSE(m_store.IsSystemAction(L"Services")) << "names of an earlier file are forgotten";
        EXPECT_EQ(WriteEverything(), 4);
        DeleteFileW(m_folder.File(kUserRestore).c_str());
        DeleteFileW(m_folder.File(kSystemRestore).c_str());
        EXPECT_EQ(Read(L"profiles.json"), text.value_or(""));
    }
}

TEST_F(ProfilesSettings, DefinitionsAreReadAnewAndSystemNamesOnlyByInit) {
    EXPECT_TRUE(m_store.IsSystemAction(L"Updates"));
    EXPECT_FALSE(m_store.IsSystemAction(L"updates"));
    EXPECT_EQ(UserActions(kWork), LR"({"A":{"active":true}})");
    EXPECT_EQ(SystemActions(kGame), LR"({"B":{}})") << "one list for user and system actions";
    EXPECT_EQ(UserActions(profile::Movie), L"");
    Write(L"profiles.json", R"({"SystemActions":[1,"Other",null],"Movie":{"M":{}}})");
    EXPECT_EQ(UserActions(profile::Movie), LR"({"M":{}})");
    EXPECT_TRUE(m_store.IsSystemAction(L"Updates"));
    m_store.Init();
    EXPECT_TRUE(m_store.IsSystemAction(L"Other"));
    EXPECT_FALSE(m_store.IsSystemAction(L"Updates"));
}

TEST_F(ProfilesSettings, EachWriteChangesItsKeyAndKeepsTheRest) {
    Write(kUserRestore, "{ \"extra\": [1, 2],\n \"active_profile\": \"Work\" }");
    const bool on = true;
    EXPECT_TRUE(m_store.SetModuleStatus(&on));
    EXPECT_EQ(Read(kUserRestore), R"({"active_profile":"Work","extra":[1,2],"module_status":true})");
    bool status = false;
    EXPECT_TRUE(m_store.GetModuleStatus(&status));
    EXPECT_TRUE(status);

    // The revert list goes together with the active profile as last loaded or stored.
    m_store.SetActiveProfile(&kGame);
    Write(kUserRestore, R"({"active_profile":"Work","module_status":true})");
    EXPECT_TRUE(m_store.SetUserRevertActions(LR"({"A":{"time":5}})"));
    EXPECT_EQ(Read(kUserRestore),
              R"({"Disabled":{"A":{"time":5}},"active_profile":"Game","module_status":true})");
    EXPECT_TRUE(m_store.SetSystemRevertActions(LR"({"B":{}})"));
    EXPECT_EQ(Read(kSystemRestore), R"({"Disabled":{"B":{}},"active_profile":"Game"})");
    EXPECT_EQ(UserActions(kDisabled), LR"({"A":{"time":5}})");
    EXPECT_EQ(SystemActions(kDisabled), LR"({"B":{}})");
    EXPECT_EQ(UserActions(kWork), LR"({"A":{"active":true}})") << "other profiles aren't restored from there";

    EXPECT_TRUE(m_store.SetConfig(&kGame, LR"({"A":{"active":false}})"));
    EXPECT_TRUE(m_store.SetConfig(&kWork, LR"({ "B" : { "active" : true } })"));
    EXPECT_TRUE(m_store.SetConfig(&kGame, LR"({"C":{}})"));
    EXPECT_EQ(Read(kUserConfig), R"({"Game":{"C":{}},"Work":{"B":{"active":true}}})");
    EXPECT_EQ(Config(kGame), LR"({"C":{}})");
    EXPECT_EQ(Config(profile::Battery), L"{}");
}

TEST_F(ProfilesSettings, TextThatIsNoJsonIsRefused) {
    for (const wchar_t* const text : {L"", L"{", L"nonsense", L"{} x", LR"({"A":1e999})"}) {
        EXPECT_FALSE(m_store.SetConfig(&kWork, text)) << text;
        EXPECT_FALSE(m_store.SetUserRevertActions(text)) << text;
        EXPECT_FALSE(m_store.SetSystemRevertActions(text)) << text;
    }
    EXPECT_EQ(CountFiles(), 1U) << "nothing but the definitions";
}

TEST_F(ProfilesSettings, WithoutAUserOnlyTheMachinesFilesAreTouched) {
    const struct {
        uint32_t result;
        const wchar_t* told;
    } kCases[] = {{1, L"empty username"}, {0, L"SrvGetCurrentUserName failed"}};
    for (const auto& [result, told] : kCases) {
        SetSimulatedUser(L"HOME", result != 0 ? L"" : L"ann", result);
        trace::LogHolder holder;
        holder.Get();
        const test_support::LogCalls log;
        profile active = kWork;
        EXPECT_FALSE(m_store.GetActiveProfile(&active));
        bool status = true;
        EXPECT_FALSE(m_store.GetModuleStatus(&status));
        EXPECT_FALSE(status);
        std::wstring text = L"before";
        EXPECT_FALSE(m_store.GetConfig(&kWork, text));
        EXPECT_EQ(text, L"");
        EXPECT_EQ(UserActions(kDisabled), LR"({"Shipped":{}})");
        EXPECT_EQ(WriteEverything(), 1);
        EXPECT_EQ(Read(kSystemRestore), R"({"Disabled":{},"active_profile":"Disabled"})")
            << "a profile that couldn't be stored isn't taken for the active one";
        EXPECT_EQ(CountFiles(), 2U);

        const auto calls = log.Take();
        for (const wchar_t* const scope :
             {L"CProfilesSettings::Restore::GetUserFile", L"CProfilesSettings::Config::GetUserFile"}) {
            const std::wstring line = std::wstring(L"0 8 ") + scope + L" " + scope + L": " + told;
            EXPECT_NE(std::find(calls.begin(), calls.end(), line), calls.end());
        }
    }
}

TEST_F(ProfilesSettings, UsersHaveTheirOwnFilesAndShareTheMachines) {
    ASSERT_EQ(WriteEverything(), 4);
    SetSimulatedUser(L"", L"ben");
    EXPECT_EQ(Active(), kDisabled);
    EXPECT_TRUE(m_store.SetConfig(&kWork, LR"({"Ben":{}})"));
    EXPECT_TRUE(m_store.SetUserRevertActions(LR"({"Ben":{}})"));
    EXPECT_EQ(Read(L"_ben_restore_profile.json"), R"({"Disabled":{"Ben":{}},"active_profile":"Disabled"})");
    EXPECT_EQ(Read(L"_ben_config_profiles.json"), R"({"Work":{"Ben":{}}})");
    EXPECT_EQ(SystemActions(kDisabled), L"{}");
    SetSimulatedUser(L"HOME", L"ann");
    EXPECT_EQ(Active(), kGame);
    EXPECT_EQ(Config(kWork), L"{}");
    EXPECT_EQ(UserActions(kDisabled), L"{}");
}

TEST_F(ProfilesSettings, NamesAndTextsAreUtf8OnDisk) {
    SetSimulatedUser(L"B\x00FCro", L"J\x00F6rg \xD83C\xDFAE");
    const std::wstring name = L"caf\x00E9 \x20AC \xD83C\xDFAE";
    const std::wstring text = L"{\"" + name + L"\":{\"path\":\"C:\\\\\x00DF\"}}";
    const std::string narrow =
        "{\"caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x8E\xAE\":{\"path\":\"C:\\\\\xC3\x9F\"}}";
    EXPECT_TRUE(m_store.SetConfig(&kWork, text));
    EXPECT_TRUE(m_store.SetUserRevertActions(text));
    EXPECT_EQ(Read(L"B\x00FCro_J\x00F6rg \xD83C\xDFAE_config_profiles.json"), "{\"Work\":" + narrow + "}");
    EXPECT_EQ(Config(kWork), text);
    EXPECT_EQ(UserActions(kDisabled), text);
    Write(L"profiles.json", "{\"SystemActions\":[\"caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x8E\xAE\"]}");
    m_store.Init();
    EXPECT_TRUE(m_store.IsSystemAction(name));
}

TEST_F(ProfilesSettings, AFileThatSomebodyElseHoldsStaysAsItIs) {
    ASSERT_EQ(WriteEverything(), 4);
    const wchar_t* const kFiles[] = {kUserRestore, kSystemRestore, kUserConfig};
    std::vector<std::string> before;
    for (const wchar_t* const name : kFiles)
        before.push_back(Read(name));
    for (const DWORD share : {DWORD{FILE_SHARE_READ}, DWORD{0}}) {
        std::vector<FileHandle> held;
        for (const wchar_t* const name : kFiles) {
            held.emplace_back(CreateFileW(m_folder.File(name).c_str(), GENERIC_READ, share, nullptr,
                                          OPEN_EXISTING, 0, nullptr));
        }
        m_store.SetActiveProfile(&kWork);
        EXPECT_EQ(WriteEverything(), 0);
        bool status = true;
        EXPECT_EQ(m_store.GetModuleStatus(&status), share != 0);
        EXPECT_EQ(Active(), share != 0 ? kGame : kDisabled);
        // Whoever holds them for a moment only is waited for.
        g_onSleep = [&] { held.clear(); };
        EXPECT_EQ(Active(), kGame);
        if (share != 0) {
            EXPECT_FALSE(held.empty());
            held.clear();
        }
        g_onSleep = nullptr;
        for (size_t i = 0; i < std::size(kFiles); ++i)
            EXPECT_EQ(Read(kFiles[i]), before[i]);
    }
}

TEST_F(ProfilesSettings, TheFoldersLastBackSlashMayLackAndTheFolderToo) {
    std::wstring folder = m_folder.Path();
    folder.pop_back();
    CProfilesSettings store(folder);
    store.Init();
    EXPECT_TRUE(store.IsSystemAction(L"Updates"));
    EXPECT_TRUE(store.SetSystemRevertActions(L"{}"));
    EXPECT_TRUE(store.SetUserRevertActions(L"{}"));
    EXPECT_TRUE(store.SetConfig(&kWork, L"{}"));
    EXPECT_EQ(CountFiles(), 4U);
    EXPECT_FALSE(Read(kUserRestore).empty() || Read(kSystemRestore).empty() || Read(kUserConfig).empty());

    CProfilesSettings nowhere(folder + L"\\missing");
    nowhere.Init();
    EXPECT_FALSE(nowhere.SetSystemRevertActions(L"{}"));
    EXPECT_FALSE(nowhere.IsSystemAction(L"Updates"));
    profile active = kGame;
    EXPECT_TRUE(nowhere.GetActiveProfile(&active));
    EXPECT_EQ(active, kDisabled);
}

}  // namespace
}  // namespace optimizer
