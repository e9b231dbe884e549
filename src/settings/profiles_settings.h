#pragma once

#include <set>
#include <string>
#include <utility>
#include <vector>

#include <picojson.h>

#include "frame/critical_section.h"
#include "settings/iprofiles_settings.h"

namespace optimizer {

/// Keeps profiles in JSON files: the shipped definitions, the machine's and the users' restore files, and the
/// user's own settings. Nothing is cached but the active profile's number and the names of the system
/// actions. Owned by CSettingsManager.
class CProfilesSettings final : public IProfilesSettings, public INotesStore {
public:
    /// `folder` is the settings folder; the last back-slash may lack.
    explicit CProfilesSettings(const std::wstring& folder);

    /// Loads the active profile and the names of the system actions; failures are traced and survived.
    void Init();

    bool GetActiveProfile(profile* out) override;
    void SetActiveProfile(const profile* active) override;
    void GetUserActions(const profile* which, std::wstring& out) override;
    bool SetUserRevertActions(const std::wstring& text) override;
    void GetSystemActions(const profile* which, std::wstring& out) override;
    bool SetSystemRevertActions(const std::wstring& text) override;
    bool IsSystemAction(const std::wstring& name) override;
    bool GetConfig(const profile* which, std::wstring& out) override;
    bool SetConfig(const profile* which, const std::wstring& text) override;
    bool GetModuleStatus(bool* out) override;
    bool SetModuleStatus(const bool* enabled) override;
    uint32_t StoreActiveProfile(const profile* active) override;
    bool GetShippedActions(const profile* which, std::wstring& out) override;
    INotesStore& Notes() override { return *this; }

    std::wstring UserKey() override;
    std::vector<std::wstring> NotedUsers() override;
    NotesState ReadNotes(const std::wstring& key, RevertNotes& notes) override;
    uint32_t ChangeNotes(const std::wstring& key, const std::function<bool(RevertNotes&)>& change) override;
    std::wstring AccountOf(const std::wstring& key) override;

private:
    /// Where revert lists are kept.
    struct Restore {
        explicit Restore(const std::wstring& folder);
        bool GetUserFile(std::wstring& path) const;

        std::wstring folder;
        std::wstring systemFile;
    };
    /// Where the user's own settings are kept.
    struct Config {
        explicit Config(std::wstring f) : folder(std::move(f)) {}
        bool GetUserFile(std::wstring& path) const;

        std::wstring folder;
    };

    bool _LoadActiveProfile(const std::wstring& userFile) REQUIRES(m_lock);
    bool _LoadSystemActions() REQUIRES(m_lock);
    void _GetActions(const profile* which, const std::wstring& restoreFile, std::wstring& out);
    bool _SetRevertActions(const std::wstring& path, const std::wstring& text) REQUIRES(m_lock);
    std::wstring _RestoreFile(const std::wstring& key) const;
    uint32_t _StoreNotes(const std::wstring& key, picojson::object& document, const RevertNotes& notes)
        REQUIRES(m_lock);

    const std::wstring m_profilesFile;
    const Restore m_restore;
    const Config m_config;
    CCriticalSection m_lock;                                         // held over file access
    profile m_activeProfile GUARDED_BY(m_lock) = profile::Disabled;  // as last loaded or stored
    std::wstring m_activeUserFile GUARDED_BY(m_lock);                // whose that is
    std::set<std::string> m_systemActions GUARDED_BY(m_lock);
    bool m_hasReadDefinitions GUARDED_BY(m_lock) = false;  // when the names were looked for
    std::set<std::wstring> m_unsure
        GUARDED_BY(m_lock);  // keys of the notes of which the disk may not have what the file holds
};

}  // namespace optimizer
