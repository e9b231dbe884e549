#include "profile/profile_manager.h"

#include <utility>

#include "frame/module_path.h"
#include "frame/plugin_request.h"
#include "frame/settings_folder.h"
#include "frame/trace.h"
#include "profile/notes_report.h"
#include "settings/iprofiles_settings.h"

namespace optimizer {

namespace {

constexpr const wchar_t* kSettingsPlugin = L"optimizersettings";

/// Requests bring any number. 87 for one that is none, in place of whatever the store makes of it.
bool IsProfile(profiles::profile which) {
    return static_cast<uint32_t>(which) < profiles::kCount;
}

const wchar_t* OnOff(bool on) {
    return on ? L"ON" : L"OFF";
}

const wchar_t* TrueFalse(bool value) {
    return value ? L"true" : L"false";
}

}  // namespace

ProfileManager::ProfileManager(IProfileManagerObserver* observer, IServMain* main, ActionFactory factory)
    : m_observer(observer), m_main(main), m_factory(factory) {}

ProfileManager::~ProfileManager() {
    Stop();
}

uint32_t ProfileManager::Start() {
    TRACE_SCOPE("ProfileManager::Start");
    {
        CriticalSectionGuard guard(m_lock);
        if (m_profile) return ERROR_SUCCESS;
    }
    auto profileRunner = std::make_unique<OptimizerProfile>(m_main, this, m_factory);
    {
        CriticalSectionGuard guard(m_lock);
        m_profile = std::move(profileRunner);
        m_components = m_main != nullptr ? m_main->GetComponentManager() : nullptr;
        m_settings = RequestPlugin<IOptimizerSettings>(m_components, kSettingsPlugin);
    }
    // Before the restore: one that comes while this runs isn't missed.
    m_arrivals = std::make_unique<AgentArrivals>(m_components, this);
    {
        // In one go: whoever asks in between would find a profile in force and a module that is off.
        CriticalSectionGuard guard(m_lock);
        _RestoreLastProfile(_GetModuleState());
        _AdoptStoredModuleState();
    }
    CUserLogon::Instance().Observers().Add(this);
    return ERROR_SUCCESS;
}

uint32_t ProfileManager::Stop() {
    TRACE_SCOPE("ProfileManager::Stop");
    // Without the lock: these wait for a notification in flight, which takes the lock.
    CUserLogon::Instance().Observers().Remove(this, 0);
    m_arrivals.reset();
    std::unique_ptr<OptimizerProfile> ending;
    bool release = false;
    {
        CriticalSectionGuard guard(m_lock);
        ending = std::move(m_profile);
        release = std::exchange(m_settings, nullptr) != nullptr;
        m_activeProfile = profile::Disabled;
    }
    ending.reset();  // waits for the run in flight and may put the machine back
    if (release) m_components->ReleasePlugin(kSettingsPlugin);
    return ERROR_SUCCESS;
}

uint32_t ProfileManager::SetProfile(const profile* wanted) {
    TRACE_SCOPE("ProfileManager::SetProfile");
    CriticalSectionGuard guard(m_lock);
    if (!m_profile) return ERROR_GEN_FAILURE;
    if (!IsProfile(*wanted)) return ERROR_INVALID_PARAMETER;
    if (*wanted == m_activeProfile) {
        // "Disabled" says that the machine is back: asked for again, it is looked at once more until that is
        // so.
        if (*wanted != profile::Disabled || m_profile->IsBack()) return ERROR_ALREADY_EXISTS;
        if (m_profile->AskAgain()) {
            // Whoever waits for its end hears of it, and what it failed at before there was, say, an agent
            // may be done by now. What the run was made from need not be what is stored.
            if (const uint32_t error = m_profile->StoreChoice(wanted); error != ERROR_SUCCESS)
                m_profile->TellOfChoice(error);
            return ERROR_SUCCESS;
        }
    }
    TRACE_LINE(trace::kInformation, L"enabled=%s profile=%d", TrueFalse(m_moduleState), *wanted);
    // Before anything is stopped: a request that is refused, or only remembered, mustn't cut short what
    // another one began. What can't be remembered isn't begun either, but for the way back.
    const uint32_t storeError = m_profile->StoreChoice(wanted);
    if (storeError != ERROR_SUCCESS && *wanted != profile::Disabled) return storeError;

    uint32_t result = ERROR_SUCCESS;
    // A module that is off still carries out "Battery" and "Disabled"; any other choice is only remembered.
    if (_Runs(*wanted)) result = _Change(*wanted);
    if (storeError != ERROR_SUCCESS) m_profile->TellOfChoice(storeError);
    if (IProfilesSettings* const settings = _ProfilesSettings()) {
        TRACE_LINE(trace::kInformation, L"module status: %s", OnOff(m_moduleState));
        settings->SetModuleStatus(&m_moduleState);
    }
    if (result != ERROR_SUCCESS) return result;
    m_activeProfile = *wanted;
    if (m_observer != nullptr) m_observer->OnProfileApplied(wanted);
    return ERROR_SUCCESS;
}

uint32_t ProfileManager::_Change(profile inForce) {
    TRACE_SCOPE("ProfileManager::_Change");
    const uint32_t stopError = m_profile->Stop();
    return stopError == ERROR_SUCCESS ? m_profile->Start(&inForce) : stopError;
}

bool ProfileManager::_Runs(profile which) const {
    return m_moduleState || which == profile::Battery || which == profile::Disabled;
}

std::string ProfileManager::LastRun() {
    CriticalSectionGuard guard(m_lock);
    return m_profile ? m_profile->Report().ToJson() : std::string();
}

std::string ProfileManager::Notes() {
    CriticalSectionGuard guard(m_lock);
    IProfilesSettings* const settings = _ProfilesSettings();
    if (settings == nullptr) return {};
    return NotesToJson(settings->Notes(), {SettingsFolder(m_components), GetModuleFolder() + L"settings\\"});
}

void ProfileManager::ExpectUninstall() {
    CriticalSectionGuard guard(m_lock);
    if (m_profile) m_profile->ExpectUninstall();
}

uint32_t ProfileManager::GetProfile(profile* active) {
    CriticalSectionGuard guard(m_lock);
    if (!m_profile) return ERROR_GEN_FAILURE;
    *active = m_activeProfile;
    return ERROR_SUCCESS;
}

uint32_t ProfileManager::SetProfileConfig(const profile* which, const std::wstring& text) {
    TRACE_SCOPE("ProfileManager::SetProfileConfig");
    CriticalSectionGuard guard(m_lock);
    if (!m_profile) return ERROR_GEN_FAILURE;
    if (!IsProfile(*which)) return ERROR_INVALID_PARAMETER;
    const uint32_t result = m_profile->SetProfileConfig(which, text);
    // While a change runs, this new run is dropped; the config takes effect with the next change. So it does
    // for a profile that a module which is off only remembers.
    if (result == ERROR_SUCCESS && *which == m_activeProfile && _Runs(*which)) {
        static_cast<void>(m_profile->Start(which));
    }
    return result;
}

uint32_t ProfileManager::GetProfileConfig(const profile* which, std::wstring& out) {
    TRACE_SCOPE("ProfileManager::GetProfileConfig");
    CriticalSectionGuard guard(m_lock);
    if (!m_profile) return ERROR_GEN_FAILURE;
    return IsProfile(*which) ? m_profile->GetProfileConfig(which, out) : uint32_t{ERROR_INVALID_PARAMETER};
}

/// A module that is off starts nothing of the remembered profile, on this road as little as on any other.
uint32_t ProfileManager::_RestoreLastProfile(bool moduleIsOn) {
    TRACE_SCOPE("ProfileManager::RestoreLastProfile");
    profile last = profile::Disabled;
    const uint32_t error =
        m_profile ? m_profile->RestoreLastProfile(&last, moduleIsOn) : uint32_t{ERROR_GEN_FAILURE};
    if (error != ERROR_SUCCESS) {
        TRACE_LINE(trace::kError, L"GenericProfile::RestoreLastProfile failed 0x%x", error);
        return error;
    }
    TRACE_LINE(trace::kInformation, L"crt profile = %d", last);
    m_activeProfile = last;
    if (m_observer != nullptr) m_observer->OnProfileApplied(&m_activeProfile);
    return ERROR_SUCCESS;
}

uint32_t ProfileManager::SetModuleState(uint32_t enable) {
    TRACE_SCOPE("ProfileManager::SetModuleState");
    const bool wanted = enable == 1;
    TRACE_LINE(trace::kInformation, L"new module state: %s", OnOff(wanted));
    bool old = false;
    profile saved = profile::Disabled;
    {
        CriticalSectionGuard guard(m_lock);
        old = std::exchange(m_moduleState, wanted);
        saved = m_activeProfile;
    }
    TRACE_LINE(trace::kInformation, L"module state: %s", OnOff(old));
    if (old == wanted) {
        TRACE_LINE(trace::kInformation, L"same module state.");
        return ERROR_SUCCESS;
    }
    uint32_t result = ERROR_SUCCESS;
    if (!wanted) {
        result = _GoOff();
    } else {
        {
            // So that the profile isn't refused as the active one.
            CriticalSectionGuard guard(m_lock);
            m_activeProfile = profile::Disabled;
        }
        result = SetProfile(&saved);
    }
    if (result == ERROR_ALREADY_EXISTS) result = ERROR_SUCCESS;
    CriticalSectionGuard guard(m_lock);
    IProfilesSettings* const settings = _ProfilesSettings();
    // With nobody at the console there is nothing to remember it in.
    if (settings != nullptr && !settings->SetModuleStatus(&wanted) && !settings->Notes().UserKey().empty() &&
        result == ERROR_SUCCESS) {
        result = ERROR_WRITE_FAULT;
    }
    return result;
}

/// "Disabled" is carried out. Neither the field nor what is stored follows it: they go on naming what the
/// user chose, though nothing of it is in force, for a module that comes on again, after a restart too.
uint32_t ProfileManager::_GoOff() {
    TRACE_SCOPE("ProfileManager::_GoOff");
    CriticalSectionGuard guard(m_lock);
    if (!m_profile) return ERROR_GEN_FAILURE;
    constexpr profile kDisabled = profile::Disabled;
    if (m_activeProfile == kDisabled && m_profile->IsBack()) return ERROR_ALREADY_EXISTS;
    const uint32_t result = _Change(kDisabled);
    if (result == ERROR_SUCCESS && m_observer != nullptr) m_observer->OnProfileApplied(&kDisabled);
    return result;
}

bool ProfileManager::GetModuleState() {
    CriticalSectionGuard guard(m_lock);
    return m_moduleState;
}

void ProfileManager::OnActionsExecuted(const profile* executed) {
    // Without the lock: Stop waits for the run that calls this, and holds it meanwhile.
    if (m_observer != nullptr) m_observer->OnActionsExecuted(executed);
}

void ProfileManager::OnLogon(uint32_t, const wchar_t*) {
    TRACE_SCOPE("ProfileManager::OnLogon");
    CriticalSectionGuard guard(m_lock);
    _AdoptStoredModuleState();
    if (!m_profile || m_profile->Stop() != ERROR_SUCCESS) return;
    // Where there is nothing to restore, what was stopped for it goes on.
    if (_RestoreLastProfile(m_moduleState) != ERROR_SUCCESS) m_profile->GoOn();
}

void ProfileManager::OnLogoff(uint32_t, const wchar_t*) {
    // The profile stays in force after a logoff.
    TRACE_SCOPE("ProfileManager::OnLogoff");
}

/// A restore at the start comes before the agents do, and one that was killed takes its time to come again.
void ProfileManager::OnAgentArrived() {
    TRACE_SCOPE("ProfileManager::OnAgentArrived");
    CriticalSectionGuard guard(m_lock);
    if (m_profile) m_profile->GoOnWithAgent();
}

bool ProfileManager::_GetModuleState() {
    TRACE_SCOPE("ProfileManager::_GetModuleState");
    bool state = false;
    IProfilesSettings* const settings = _ProfilesSettings();
    if (settings == nullptr || !settings->GetModuleStatus(&state)) {
        TRACE_LINE(trace::kWarning, L"pProfilesSettings->GetModuleStatus failed");
    }
    TRACE_LINE(trace::kInformation, L"module state: %s", OnOff(state));
    return state;
}

void ProfileManager::_AdoptStoredModuleState() {
    const bool stored = _GetModuleState();
    if (stored == m_moduleState) return;
    m_moduleState = stored;  // first: whoever is told may ask
    if (m_observer != nullptr) m_observer->OnModuleStateChanged(stored);
}

IProfilesSettings* ProfileManager::_ProfilesSettings() const {
    return m_settings != nullptr ? m_settings->GetProfilesSettings() : nullptr;
}

}  // namespace optimizer
