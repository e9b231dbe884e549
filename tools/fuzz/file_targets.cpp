// The files that the service and its host read, each a changed copy of one that ships or that the engine
// writes.
#include <windows.h>

#include <sddl.h>

#include "framework/plugin_list.h"
#include "frame/module_path.h"
#include "frame/revert_notes.h"
#include "frame/users_library.h"
#include "host/settings_check/settings_files.h"
#include "log/log_settings.h"
#include "optimizerprocessdp/application_file.h"
#include "plugins/registration_file.h"
#include "profile/action_factory.h"
#include "profile/action_lists.h"
#include "settings/profiles_settings.h"
#include "settings/tasks_settings.h"
#include "tests/support/fake_host.h"
#include "tests/support/simulated_users.h"
#include "tools/fuzz/target.h"
#include "tools/rig/temporary_folder.h"

namespace fuzz {

namespace {

using optimizer::profiles::profile;
using rig::ReadFileText;
using rig::WriteFileText;

std::string Shipped(const wchar_t* name) {
    return ReadFileText(optimizer::GetModuleFolder() + L"shipped\\" + name);
}

/// Changed, or another document altogether.
std::string HostileCopy(Hostile& hostile, const std::string& sound) {
    std::string text = hostile.OneIn(6) ? hostile.Json() : hostile.Changed(sound);
    if (hostile.OneIn(30)) text.insert(0, hostile.OneIn(2) ? "\xEF\xBB\xBF" : "\xFF\xFE");
    hostile.Note(text);
    return text;
}

struct SoundFile {
    const wchar_t* name;
    std::string text;
};

class SettingsFiles final : public Target {
public:
    SettingsFiles()
        : m_files{{L"profiles.json", Shipped(L"profiles.json")},
                  {L"HOME_ann_restore_profile.json",
                   R"({"Disabled":{"VisualFX":[{"name":"aero","action":1}]},"active_profile":"Game",)"
                   R"("in_force":["WindowsServices"],"module_status":true})"},
                  {L"system_restore_profile.json",
                   R"({"Disabled":{"PowerPlanAction":{"scheme":"x"}},"owners":{"A":"HOME\\ann"}})"},
                  {L"HOME_ann_config_profiles.json", R"({"Game":{"VisualFX":{"active":false}}})"},
                  {L"current_tasks.json", R"({"DiskCleaner":{"a":1}})"},
                  {L"applications.json", Shipped(L"applications.json")}} {
        optimizer::VxUsersLibrary::Instance().Bind();
        test_support::SetSimulatedUser(L"HOME", L"ann");
        _MakeSound();
    }
    ~SettingsFiles() override { optimizer::VxUsersLibrary::Instance().Unbind(); }

    bool Try(Hostile& hostile) override {
        const SoundFile& file = hostile.OneOf(m_files);
        const bool isCopy = hostile.OneIn(4);
        const std::wstring path = m_folder.File(file.name) + (isCopy ? L".copy" : L"");
        WriteFileText(path, HostileCopy(hostile, file.text));
        const bool isRead = _ReadEverything(static_cast<profile>(hostile.Below(6)));
        _MakeSound();
        return isRead;
    }
    bool IsSound() override {
        optimizer::CProfilesSettings store(m_folder.Path());
        store.Init();
        profile active{};
        bool isOn = false;
        return store.GetActiveProfile(&active) && active == profile::Game && store.GetModuleStatus(&isOn) &&
               isOn && !host::ReadSettingsFiles(m_folder.Path()).empty();
    }

private:
    void _MakeSound() {
        for (const SoundFile& file : m_files) {
            WriteFileText(m_folder.File(file.name), file.text);
            for (const wchar_t* const suffix : {L".copy", L".bad", L".damaged", L".copy.damaged"})
                DeleteFileW((m_folder.File(file.name) + suffix).c_str());
        }
    }

    bool _ReadEverything(profile which) {
        optimizer::CProfilesSettings store(m_folder.Path());
        store.Init();
        profile active{};
        bool isOn = false;
        std::wstring text;
        bool isRead = store.GetActiveProfile(&active) && store.GetModuleStatus(&isOn);
        isRead = store.GetConfig(&which, text) && isRead;
        store.GetUserActions(&which, text);
        store.GetSystemActions(&which, text);
        optimizer::RevertNotes notes;
        for (const wchar_t* const key : {L"HOME_ann", L"system"})
            isRead = store.ReadNotes(key, notes) == optimizer::NotesState::Ok && isRead;
        for (const std::wstring& key : store.NotedUsers())
            static_cast<void>(store.AccountOf(key));
        optimizer::ActionLists lists(&m_host, &optimizer::CreateAction, nullptr);
        optimizer::ActionMap actions;
        isRead = lists.ReadShipped(store, which, actions) == 0 && isRead;
        optimizer::CTasksSettings tasks(m_folder.File(L"tasks.json"), m_folder.File(L"current_tasks.json"));
        const int task = 0;
        isRead = tasks.GetTaskSettings(&task, text) && isRead;
        for (const host::SettingsFile& file : host::ReadSettingsFiles(m_folder.Path()))
            static_cast<void>(host::RevertEntries(file));
        isRead = store.SetConfig(&kProfileOfWrites, L"{}") && isRead;
        return isRead;
    }

    static constexpr profile kProfileOfWrites = profile::Movie;

    const std::vector<SoundFile> m_files;
    rig::TemporaryFolder m_folder;
    test_support::FakeHost m_host;
};

class HostFiles final : public Target {
public:
    HostFiles() : m_log(Shipped(L"log.json")), m_applications(Shipped(L"applications.json")) {}

    bool Try(Hostile& hostile) override {
        const std::wstring path = m_folder.File(L"file.json");
        std::wstring problem;
        switch (hostile.Below(4)) {
            case 0: {
                WriteFileText(path, HostileCopy(hostile, m_log));
                const host::LogSettings settings = host::ReadLogSettings(path);
                return settings.enabled;
            }
            case 1: {
                WriteFileText(path, HostileCopy(hostile, m_applications));
                host::ApplicationLists lists;
                return host::ReadApplications(path, lists, problem) == host::SettingsFileState::Ok;
            }
            case 2: {
                WriteFileText(path, HostileCopy(hostile, m_product));
                picojson::value document;
                return host::ReadSettingsFile(path, document, problem) == host::SettingsFileState::Ok;
            }
            default: {
                WriteFileText(path, HostileCopy(hostile, kRegistration));
                host::Registration registration;
                return _Protect(path) &&
                       host::ReadRegistration(path, registration, problem) == host::RegistrationFileState::Ok;
            }
        }
    }
    bool IsSound() override {
        const std::wstring path = m_folder.File(L"sound.json");
        WriteFileText(path, kRegistration);
        host::Registration registration;
        std::wstring problem;
        return _Protect(path) &&
               host::ReadRegistration(path, registration, problem) == host::RegistrationFileState::Ok &&
               registration.token == "t";
    }

private:
    static constexpr const char* kRegistration =
        R"({"email":"ann@x","token":"t","authenticated":true,"partnerId":-7})";

    static bool _Protect(const std::wstring& path) {
        optimizer::LocalMemory descriptor;
        ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:P(A;;FA;;;SY)(A;;FA;;;BA)", SDDL_REVISION_1,
                                                             descriptor.Receive(), nullptr);
        return SetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, descriptor.Get()) != FALSE;
    }

    const std::string m_log;
    const std::string m_applications;
    const std::string m_product = R"({"0":{"BASE":"Optimizer","CLOUD":""},"2":{"common":"%ProgramData%"}})";
    rig::TemporaryFolder m_folder;
};

class PluginList final : public Target {
public:
    PluginList() : m_sound(Shipped(L"service_plugins.xml")) {}

    bool Try(Hostile& hostile) override { return _Read(HostileCopy(hostile, m_sound)); }
    bool IsSound() override { return _Read(m_sound); }

private:
    bool _Read(const std::string& text) {
        const std::wstring path = m_folder.File(L"plugins.xml");
        WriteFileText(path, text);
        host::CPluginList list;
        std::wstring failure;
        return list.Read(path, failure) == 0 && !list.Entries().empty();
    }

    const std::string m_sound;
    rig::TemporaryFolder m_folder;
};

}  // namespace

std::unique_ptr<Target> MakeSettingsFiles() {
    return std::make_unique<SettingsFiles>();
}

std::unique_ptr<Target> MakeHostFiles() {
    return std::make_unique<HostFiles>();
}

std::unique_ptr<Target> MakePluginList() {
    return std::make_unique<PluginList>();
}

}  // namespace fuzz
