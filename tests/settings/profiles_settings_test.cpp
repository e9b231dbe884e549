// The settings files: what each operation reads and writes, and that nothing on disk is lost when a file is
// broken, held by somebody else, or nobody is logged on.
#include "settings/profiles_settings.h"

#include <filesystem>
#include <functional>
#include <regex>

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

    /// Without the check of the notes.
    std::string Read(const wchar_t* name) const {
        return std::regex_replace(ReadFileText(m_folder.File(name)),
                                  std::regex(",\"notes_check\":\"\\w{16}\""), "");
    }
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
        const rig::TemporaryFolder folder;
        CProfilesSettings store(folder.Path());
        WriteFileText(folder.File(L"profiles.json"), R"({"Disabled":{"Shipped":{}}})");
        for (const wchar_t* const name : kFiles)
            WriteFileText(folder.File(name), text);
        profile active = profile::Battery;
        EXPECT_TRUE(store.GetActiveProfile(&active));
        EXPECT_EQ(active, kDisabled);
        std::wstring list;
        store.GetSystemActions(&kDisabled, list);
        EXPECT_EQ(list, LR"({"Shipped":{}})");
        EXPECT_EQ(store.SetSystemRevertActions(L"{}"), writable);
        EXPECT_EQ(store.SetConfig(&kWork, L"{}"), writable);
        EXPECT_EQ(ReadFileText(folder.File(kUserConfig)) == text, !writable);
        const std::wstring aside = std::wstring(kSystemRestore) + L".damaged";
        EXPECT_EQ(ReadFileText(folder.File(writable ? kSystemRestore : aside)) == text, !writable);
        store.SetActiveProfile(&kGame);
        EXPECT_TRUE(store.GetActiveProfile(&active));
        EXPECT_EQ(active, kGame) << "a choice can be made all the same";
    }
}

/// What is done to a restore file that has a good copy.
struct Damage {
    const char* name;
    std::function<void(const std::wstring& path, const std::string& text)> doIt;
};

TEST_F(ProfilesSettings, NotesOutliveEveryDamageToTheirFile) {
    const auto note = [](RevertNotes& notes) {
        notes.values["A"] = picojson::value(3600.0);
        notes.inForce.insert("B");
        return true;
    };
    ASSERT_EQ(m_store.ChangeNotes(INotesStore::kMachine, note), 0U);
    const std::wstring path = m_folder.File(kSystemRestore);
    const std::string text = ReadFileText(path);
    std::vector<Damage> damages = {
        {"another type", [](auto& file, auto&) { WriteFileText(file, "[1]"); }},
        {"gone", [](auto& file, auto&) { std::filesystem::remove(file); }},
        {"a folder",
         [](auto& file, auto&) { std::filesystem::remove(file), std::filesystem::create_directory(file); }},
        {"a byte order mark", [](auto& file, auto& was) { WriteFileText(file, "\xEF\xBB\xBF" + was); }},
        {"UTF-16", [](auto& file, auto&) { WriteFileText(file, "\xFF\xFE{"); }},
    };
    for (size_t i = 0; i < text.size(); ++i) {
        damages.push_back({"cut", [i](auto& file, auto& was) { WriteFileText(file, was.substr(0, i)); }});
        for (const int bit : {1, 0x20}) {
            damages.push_back({"a flipped bit", [i, bit](auto& file, auto& was) {
                                   std::string changed = was;
                                   changed[i] = static_cast<char>(changed[i] ^ bit);
                                   WriteFileText(file, changed);
                               }});
        }
    }
    for (const Damage& damage : damages) {
        SCOPED_TRACE(damage.name);
        damage.doIt(path, text);
        SCOPED_TRACE(ReadFileText(path));
        RevertNotes notes;
        EXPECT_EQ(m_store.ReadNotes(INotesStore::kMachine, notes), NotesState::Ok);
        EXPECT_EQ(notes.values["A"].serialize() + (notes.inForce.contains("B") ? "B" : ""), "3600B");
        std::filesystem::remove_all(path);
        WriteFileText(path, text);
    }
}

TEST_F(ProfilesSettings, NothingIsNotedOverLostNotes) {
    const auto note = [](RevertNotes& notes) { return notes.values["A"] = picojson::value(1.0), true; };
    ASSERT_EQ(m_store.ChangeNotes(INotesStore::kMachine, note), 0U);
    const std::wstring path = m_folder.File(kSystemRestore);
    WriteFileText(path, "{");
    WriteFileText(path + L".copy", "x");
    RevertNotes notes;
    for (int look = 0; look < 2; ++look) {
        EXPECT_EQ(m_store.ReadNotes(INotesStore::kMachine, notes), NotesState::Damaged);
        EXPECT_EQ(m_store.ChangeNotes(INotesStore::kMachine, note), uint32_t{ERROR_FILE_CORRUPT});
        EXPECT_FALSE(m_store.SetSystemRevertActions(L"{}"));
    }
    EXPECT_EQ(ReadFileText(path + L".damaged"), "{");
    EXPECT_EQ(ReadFileText(path + L".copy.damaged"), "x");
    std::filesystem::remove(path + L".damaged");  // a person has seen to it
    EXPECT_EQ(m_store.ReadNotes(INotesStore::kMachine, notes), NotesState::Ok);
    EXPECT_EQ(m_store.ChangeNotes(INotesStore::kMachine, note), 0U);
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

TEST_F(ProfilesSettings, WhatIsAcceptedCanBeReadAgain) {
    Write(kUserConfig, R"({"Game":{"A":{}}})");
    std::wstring text = L"1";
    for (int levels = 1; levels <= 33; ++levels) {
        text = L"{\"a\":" + text + L"}";
        const bool isAccepted = levels <= 31;  // the file's own level is one more
        EXPECT_EQ(m_store.SetConfig(&kWork, text), isAccepted) << levels;
        EXPECT_EQ(m_store.SetUserRevertActions(text), isAccepted) << levels;
        EXPECT_EQ(m_store.SetSystemRevertActions(text), isAccepted) << levels;
        if (isAccepted) {
            std::wstring config;
            EXPECT_TRUE(m_store.GetConfig(&kWork, config));
            EXPECT_EQ(config, text);
            EXPECT_EQ(Text(kUserActions, kDisabled), text);
            EXPECT_EQ(Text(kSystemActions, kDisabled), text);
        }
    }
    text.clear();
    for (int levels = 0; levels < 60000; ++levels)
        text += L"{\"a\":";
    EXPECT_FALSE(m_store.SetConfig(&kWork, text));
    // Each of these takes two characters in the file and in an answer.
    EXPECT_FALSE(m_store.SetConfig(&kWork, L"{\"a\":\"" + std::wstring(140000, L'/') + L"\"}"));
    std::wstring config;
    EXPECT_TRUE(m_store.GetConfig(&kGame, config));
    EXPECT_EQ(config, LR"({"A":{}})") << "the other settings are still there";
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
        EXPECT_EQ(std::distance(begin(files), end(files)), 3)
            << "the definitions, and the machine's file with its copy";
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

TEST_F(ProfilesSettings, AFileThatSomebodyElseHoldsIsWaitedForAndStaysAsItIs) {
    ASSERT_EQ(WriteEverything(), 4);
    for (const DWORD share : {DWORD{FILE_SHARE_READ}, DWORD{0}}) {
        const std::wstring path = m_folder.File(kUserRestore);
        const auto hold = [&] {
            return FileHandle(
                CreateFileW(path.c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING, 0, nullptr));
        };
        FileHandle held = hold();
        g_onSleep = [&] { held.Reset(); };  // whoever holds it for a moment only is waited for
        EXPECT_EQ(WriteEverything(), 4);
        EXPECT_FALSE(held);
        g_onSleep = nullptr;

        held = hold();
        EXPECT_EQ(m_store.StoreActiveProfile(&kWork), uint32_t{ERROR_SHARING_VIOLATION});
        EXPECT_EQ(WriteEverything(), 2);
        EXPECT_EQ(Active(), kGame) << "as its copy says, where it can't be read";
        std::filesystem::remove(path + L".copy");
        EXPECT_EQ(Active(), share != 0 ? kGame : kDisabled);
        RevertNotes notes;
        EXPECT_EQ(m_store.ReadNotes(L"HOME_ann", notes),
                  share != 0 ? NotesState::Ok : NotesState::Unreadable);
        held.Reset();
        EXPECT_EQ(WriteEverything(), 4);
    }
}

}  // namespace
}  // namespace optimizer
