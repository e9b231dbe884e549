#include "profile/profile_manager.h"

#include <utility>

#include "frame/plugin_request.h"
#include "frame/trace.h"
#include "settings/iprofiles_settings.h"

namespace optimizer {

namespace {

constexpr const wchar_t* kSettingsPlugin = L"optimizersettings";

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
    // Without the lock: this waits for a notification in flight, which takes the lock.
    CUserLogon::Instance().Observers().Remove(this, 0);
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
    if (*wanted == m_activeProfile) {
        // "Disabled" says that the machine is back: asked for again, it is looked at once more until that is
        // so.
        const RunReport& report = m_profile->Report();
        if (*wanted != profile::Disabled || report.IsSettled(*wanted)) return ERROR_ALREADY_EXISTS;
        if (report.IsRunning()) return ERROR_SUCCESS;  // whoever waits for its end hears of it
    }
    const uint32_t stopError = m_profile->Stop();
    if (stopError != ERROR_SUCCESS) return stopError;
    TRACE_LINE(trace::kInformation, L"enabled=%s profile=%d", TrueFalse(m_moduleState), *wanted);

    IProfilesSettings* const settings = _ProfilesSettings();
    uint32_t result = ERROR_SUCCESS;
    // A module that is off still carries out "Battery" and "Disabled"; any other choice is only remembered.
    if (_Runs(*wanted)) {
        result = m_profile->Start(wanted);
    } else if (settings != nullptr) {
        result = settings->StoreActiveProfile(wanted);
        if (result == ERROR_NO_SUCH_USER) result = ERROR_SUCCESS;
    }
    if (settings != nullptr) {
        TRACE_LINE(trace::kInformation, L"module status: %s", OnOff(m_moduleState));
        settings->SetModuleStatus(&m_moduleState);
    }
    if (result != ERROR_SUCCESS) return result;
    m_activeProfile = *wanted;
    if (m_observer != nullptr) m_observer->OnProfileApplied(wanted);
    return ERROR_SUCCESS;
}

bool ProfileManager::_Runs(profile which) const {
    return m_moduleState || which == profile::Battery || which == profile::Disabled;
}

std::string ProfileManager::LastRun() {
    CriticalSectionGuard guard(m_lock);
    return m_profile ? m_profile->Report().ToJson() : std::string();
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
    return m_profile ? m_profile->GetProfileConfig(which, out) : uint32_t{ERROR_GEN_FAILURE};
}

/// A module that is off starts nothing of the remembered profile, on this road as little as on any other.
uint32_t ProfileManager::_RestoreLastProfile(bool moduleIsOn) {
    TRACE_SCOPE("ProfileManager::RestoreLastProfile");
    CriticalSectionGuard guard(m_lock);
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
        constexpr profile kDisabled = profile::Disabled;
        result = SetProfile(&kDisabled);
        // Nothing of it is in force, but the field goes on naming what the user chose, and so does what is
        // stored: a module that comes on after a restart goes on with it.
        CriticalSectionGuard guard(m_lock);
        m_activeProfile = saved;
        if (IProfilesSettings* const settings = _ProfilesSettings()) settings->SetActiveProfile(&saved);
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
    if (IProfilesSettings* const settings = _ProfilesSettings()) settings->SetModuleStatus(&wanted);
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
    if (m_profile && m_profile->Stop() == ERROR_SUCCESS)
        static_cast<void>(_RestoreLastProfile(m_moduleState));
}

void ProfileManager::OnLogoff(uint32_t, const wchar_t*) {
    // The profile stays in force after a logoff.
    TRACE_SCOPE("ProfileManager::OnLogoff");
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
    if (m_observer != nullptr) m_observer->OnModuleStateChanged(stored);
    m_moduleState = stored;
}

IProfilesSettings* ProfileManager::_ProfilesSettings() const {
    return m_settings != nullptr ? m_settings->GetProfilesSettings() : nullptr;
}

}  // namespace optimizer
