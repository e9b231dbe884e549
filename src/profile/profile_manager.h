#pragma once

#include <memory>

#include "frame/critical_section.h"
#include "profile/agent_arrivals.h"
#include "profile/optimizer_profile.h"
#include "profile/user_logon.h"

namespace optimizer {

/// The plugin's side of the manager. OnActionsExecuted comes with no lock held, from the thread of the
/// change; the others come from inside a request, a start or a logon, with the manager lock held.
class IProfileManagerObserver {
public:
    virtual void OnProfileApplied(const profiles::profile* applied) = 0;
    virtual void OnActionsExecuted(const profiles::profile* executed) = 0;
    virtual void OnModuleStateChanged(bool enabled) = 0;

protected:
    ~IProfileManagerObserver() = default;
};

/// Knows which profile is active and whether the module is on, and decides for a request whether actions run
/// or the choice is only stored. Owned by COptimizerPlugin; Start before and Stop after all requests, both on
/// the host's thread, with no lock held.
///
/// Requests may come from any thread and block while a running change gives up. The manager lock is held over
/// that wait, so that nothing on the queue thread may need it. Lock order: the plugin's, this one's, the
/// stores'.
class ProfileManager final : public IOptimizerProfileObserver,
                             public IUserLogonObserver,
                             public IAgentArrivalObserver {
public:
    using profile = profiles::profile;

    ProfileManager(IProfileManagerObserver* observer, IServMain* main, ActionFactory factory);
    ~ProfileManager();
    ProfileManager(const ProfileManager&) = delete;
    ProfileManager& operator=(const ProfileManager&) = delete;

    uint32_t Start();
    uint32_t Stop();

    /// 183 (ERROR_ALREADY_EXISTS) for the active profile, but for "Disabled" while the machine isn't back; 31
    /// before Start, 87 for a number that is none, or the error of the store or the event queue.
    uint32_t SetProfile(const profile* wanted);
    uint32_t GetProfile(profile* active);
    /// Also 87 for a number that is no profile.
    uint32_t SetProfileConfig(const profile* which, const std::wstring& text);
    uint32_t GetProfileConfig(const profile* which, std::wstring& out);
    /// Only 1 means on. 0 also when the state didn't change.
    uint32_t SetModuleState(uint32_t enable);
    bool GetModuleState();
    /// What became of the last run, as RunReport writes it; empty before Start.
    std::string LastRun();
    /// What is noted, as INotesReport tells it; empty before Start. Blocks for the files.
    std::string Notes();

    /// Has Stop put the whole machine back.
    void ExpectUninstall();

    void OnActionsExecuted(const profile* executed) override;
    void OnLogon(uint32_t time, const wchar_t* user) override;
    void OnLogoff(uint32_t time, const wchar_t* user) override;
    void OnAgentArrived() override;

private:
    uint32_t _Change(profile inForce) REQUIRES(m_lock);
    uint32_t _GoOff();
    bool _Runs(profile which) const REQUIRES(m_lock);
    uint32_t _RestoreLastProfile(bool moduleIsOn) REQUIRES(m_lock);
    bool _GetModuleState() REQUIRES(m_lock);
    void _AdoptStoredModuleState() REQUIRES(m_lock);
    IProfilesSettings* _ProfilesSettings() const REQUIRES(m_lock);

    CCriticalSection m_lock;  // the manager lock; taken again by its own thread
    profile m_activeProfile GUARDED_BY(m_lock) = profile::Disabled;
    IProfileManagerObserver* const m_observer;
    IServMain* const m_main;
    std::unique_ptr<OptimizerProfile> m_profile GUARDED_BY(m_lock);  // from Start to Stop
    std::unique_ptr<AgentArrivals> m_arrivals;  // from Start to Stop; its calls take m_lock
    bool m_moduleState GUARDED_BY(m_lock) = false;
    IComponentManager* m_components = nullptr;
    IOptimizerSettings* m_settings GUARDED_BY(m_lock) = nullptr;
    const ActionFactory m_factory;
};

}  // namespace optimizer
