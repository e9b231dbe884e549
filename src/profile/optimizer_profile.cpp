#include "profile/optimizer_profile.h"

#include <set>

#include "frame/guarded.h"
#include "frame/json.h"
#include "frame/plugin_request.h"
#include "frame/text.h"
#include "frame/trace.h"
#include "frame/uninstall_event.h"
#include "frame/work_item.h"
#include "profile/action_factory.h"
#include "settings/iprofiles_settings.h"

namespace optimizer {

namespace {

constexpr const wchar_t* kSettingsPlugin = L"optimizersettings";
constexpr const char* kPostponeWindowsUpdate = "PostponeWindowsUpdate";

bool IsSignalled(const KernelHandle& event) {
    return event && WaitForSingleObject(event.Get(), 0) == WAIT_OBJECT_0;
}

void TraceNotActive() {
    TRACE_MARKED_SCOPE("OptimizerProfile::GetActionList", L"PostponeWindowsUpdate");
    TRACE_LINE(trace::kInformation, L"not active");
}

std::wstring ReadActions(IProfilesSettings& settings, bool system, profiles::profile which) {
    std::wstring text;
    if (system) {
        settings.GetSystemActions(&which, text);
    } else {
        settings.GetUserActions(&which, text);
    }
    return text;
}

}  // namespace

bool IsActionActive(const picojson::value& config, const std::string& name, profiles::profile wanted) {
    // Updates aren't postponed at work unless the user asks for it; that default is wanted.
    const bool byDefault = !(name == kPostponeWindowsUpdate && wanted == profiles::profile::Work);
    const picojson::value* const settings = json::Find(config, name);
    if (settings == nullptr) return byDefault;
    return json::ToBool(json::Find(*settings, "active")).value_or(byDefault);
}

OptimizerProfile::OptimizerProfile(IServMain* main, IOptimizerProfileObserver* observer,
                                   ActionFactory factory)
    : m_main(main), m_observer(observer), m_factory(factory) {
    TRACE_SCOPE("OptimizerProfile::OptimizerProfile");
    if (main != nullptr) {
        m_queue = main->GetEventQueue();
        m_components = main->GetComponentManager();
    }
    m_settings = RequestPlugin<IOptimizerSettings>(m_components, kSettingsPlugin);
    m_stopEvent.Reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    m_actions = std::make_unique<ActionManager>(this);
    m_uninstallEvent = OpenUninstallEvent();
}

OptimizerProfile::~OptimizerProfile() {
    TRACE_SCOPE("OptimizerProfile::~OptimizerProfile");
    Stop();
    if (IsSignalled(m_uninstallEvent)) {
        static_cast<void>(Guarded([this] { return _Start(profile::Disabled), uint32_t{ERROR_SUCCESS}; }));
    }
    if (m_item != nullptr) m_queue->CloseItem(m_item);
    if (m_settings != nullptr) m_components->ReleasePlugin(kSettingsPlugin);
    m_actions.reset();
    m_uninstallEvent.Reset();
    m_processWideAction.reset();
}

uint32_t OptimizerProfile::Start(const profile* wanted) {
    TRACE_SCOPE("OptimizerProfile::Start");
    if (m_queue == nullptr || !m_stopEvent) return ERROR_INVALID_HANDLE;
    if (m_item != nullptr && m_queue->Wait(m_item, 0) != WAIT_TIMEOUT) {
        m_queue->CloseItem(m_item);
        m_item = nullptr;
    }
    // A change runs: the new one is dropped and still a success. The manager calls Stop first wherever it
    // matters.
    if (m_item != nullptr) return ERROR_SUCCESS;

    auto* const item =
        new EqWorkItemMember1<void, OptimizerProfile, profile>(this, *wanted, &OptimizerProfile::_Start);
    const uint32_t error = m_queue->Post(L"OptimizerProfile::Start", &m_item, item, 0, 0, 0);
    if (error != ERROR_SUCCESS) item->Dispose();
    return m_item != nullptr ? error : ERROR_INVALID_HANDLE;
}

uint32_t OptimizerProfile::Stop() {
    TRACE_SCOPE("OptimizerProfile::Stop");
    if (m_queue == nullptr || m_item == nullptr || !m_stopEvent) return ERROR_SUCCESS;
    SetEvent(m_stopEvent.Get());
    m_actions->Cancel();
    m_queue->Wait(m_item, kWaitForever);
    m_queue->CloseItem(m_item);
    m_item = nullptr;
    ResetEvent(m_stopEvent.Get());
    return ERROR_SUCCESS;
}

uint32_t OptimizerProfile::RestoreLastProfile(profile* out) {
    TRACE_SCOPE("OptimizerProfile::RestoreLastProfile");
    IProfilesSettings* const settings = _ProfilesSettings();
    if (settings == nullptr) return ERROR_GEN_FAILURE;
    if (!settings->GetActiveProfile(out)) {
        TRACE_LINE(trace::kWarning, L"ProfilesSettings::GetActiveProfile failed");
        return ERROR_GEN_FAILURE;
    }
    m_restore.fetch_or(1);
    return Start(out);
}

uint32_t OptimizerProfile::SetProfileConfig(const profile* which, const std::wstring& text) {
    TRACE_SCOPE("OptimizerProfile::SetProfileConfig");
    IProfilesSettings* const settings = _ProfilesSettings();
    if (settings != nullptr && settings->SetConfig(which, text)) return ERROR_SUCCESS;
    TRACE_LINE(trace::kError, L"ProfilesSettings::SetConfig failed");
    return ERROR_GEN_FAILURE;
}

uint32_t OptimizerProfile::GetProfileConfig(const profile* which, std::wstring& out) {
    TRACE_SCOPE("OptimizerProfile::GetProfileConfig");
    IProfilesSettings* const settings = _ProfilesSettings();
    if (settings != nullptr && settings->GetConfig(which, out)) return ERROR_SUCCESS;
    TRACE_LINE(trace::kError, L"ProfilesSettings::GetConfig failed");
    return ERROR_GEN_FAILURE;
}

IProfilesSettings* OptimizerProfile::_ProfilesSettings() const {
    return m_settings != nullptr ? m_settings->GetProfilesSettings() : nullptr;
}

void OptimizerProfile::_Start(profile wanted) {
    TRACE_SCOPE("OptimizerProfile::_Start");
    if (!IsSignalled(m_stopEvent)) _Run(wanted);
    // Told in all cases, also after a stop or a failure: clients wait for it.
    if (m_observer != nullptr) m_observer->OnActionsExecuted(&wanted);
}

void OptimizerProfile::_Run(profile wanted) {
    IProfilesSettings* const settings = _ProfilesSettings();
    if (settings != nullptr) settings->SetActiveProfile(&wanted);

    ActionMap actions;
    if (!_GetActionLists(wanted, actions) || !m_actions) return;
    // Also when nobody was logged on at the start, the first run has to take over what is noted on disk.
    if (!m_hasRun) m_restore.fetch_or(1);
    m_hasRun = true;
    if (m_restore == 1) {
        _Restore(wanted, actions);
    } else if (wanted == profile::Disabled) {
        m_actions->RevertAll();
    } else {
        m_actions->Apply(&actions);
    }
    _EraseNotes();
}

/// A run whose values to return to are on disk, from an earlier life of the service.
///
/// A restore that failed or was cut short, by an exception too, leaves notes that nobody has taken over: the
/// next run is a restore again, or its actions would note the state that the earlier profile left behind.
void OptimizerProfile::_Restore(profile wanted, ActionMap& actions) {
    TRACE_SCOPE("OptimizerProfile::_Restore");
    if (wanted == profile::Disabled) {
        // The notes are the action set: starting it brings the saved values back, and no action stays active.
        actions.clear();
        m_actions->RevertAll();
        _EraseNotes();
    }
    ActionMap saved;
    if (!_ReadNotes(saved)) {
        TRACE_LINE(trace::kError, L"The notes can't be read now; the next change tries again");
        return;
    }
    const bool complete = _TakeOverNotes(saved, actions);
    if (wanted != profile::Disabled && !IsSignalled(m_stopEvent)) m_actions->Apply(&actions);
    if (complete && !IsSignalled(m_stopEvent)) m_restore = 0;
}

/// The actions of both revert lists.
bool OptimizerProfile::_ReadNotes(ActionMap& saved) {
    IProfilesSettings* const settings = _ProfilesSettings();
    for (const bool system : {true, false}) {
        std::wstring text;
        if (settings == nullptr || !settings->GetRevertActions(system, text)) return false;
        _AddActions(text, profile::Disabled, saved);
    }
    return true;
}

/// Hands the actions the values that an earlier run saved, so that they won't take the state which that run
/// left behind for the state to return to. What is noted and no longer wanted, or doesn't fit what is wanted,
/// is put back; a note goes only when that is done, and an action whose note has to go first waits for it.
/// False when something is still to be put back.
bool OptimizerProfile::_TakeOverNotes(ActionMap& saved, ActionMap& actions) {
    std::set<std::wstring> waiting;
    for (auto note = saved.begin(); note != saved.end();) {
        const auto action = actions.find(note->first);
        const bool wanted = action != actions.end();
        IOptimizerActionSettings* const values = note->second->GetParameters();
        if (wanted && (m_actions->IsActive(note->first) || action->second->CanReturnTo(values))) {
            action->second->SetRevertParameters(values);
            note = saved.erase(note);
            continue;
        }
        if (wanted) waiting.insert(note->first);
        ++note;
    }
    const bool complete = m_actions->PutBack(
        saved,
        [&](const std::wstring& name) {
            _RemoveNote(name);
            waiting.erase(name);
        },
        [this] { return IsSignalled(m_stopEvent); });
    for (const std::wstring& name : waiting)
        actions.erase(name);
    return complete;
}

bool OptimizerProfile::_GetActionLists(profile wanted, ActionMap& actions) {
    return _GetActionList(true, wanted, actions) && _GetActionList(false, wanted, actions);
}

bool OptimizerProfile::_GetActionList(bool system, profile wanted, ActionMap& actions) {
    TRACE_SCOPE("OptimizerProfile::GetActionList");
    IProfilesSettings* const settings = _ProfilesSettings();
    if (settings == nullptr) return false;
    return _AddActions(ReadActions(*settings, system, wanted), wanted, actions);
}

bool OptimizerProfile::_AddActions(const std::wstring& text, profile wanted, ActionMap& actions) {
    TRACE_SCOPE("OptimizerProfile::_AddActions");
    if (text.empty()) return true;
    picojson::value list;
    std::string error;
    if (!json::Parse(Narrow(text), list, error)) {
        TRACE_LINE(trace::kError, L"%S", error.c_str());
        return false;
    }
    if (!list.is<picojson::object>()) return true;
    // What is to be put back isn't for a config to choose.
    const picojson::value config = wanted == profile::Disabled ? picojson::value() : _ReadConfig(wanted);
    for (const auto& [name, value] : list.get<picojson::object>()) {
        if (IsActionActive(config, name, wanted)) {
            _AddAction(Widen(name), value, actions);
        } else if (name == kPostponeWindowsUpdate) {
            TraceNotActive();
        }
    }
    return true;
}

void OptimizerProfile::_AddAction(const std::wstring& name, const picojson::value& value,
                                  ActionMap& actions) {
    TRACE_SCOPE("OptimizerProfile::_AddAction");
    // Not made again for a name that is there: constructors have effects.
    if (actions.contains(name)) return;
    ActionPointer action = m_factory(name, value.serialize(), m_main);
    if (!action && name == kProcessWideAction) action = _ProcessWideAction(value);
    if (action) {
        actions.emplace(name, std::move(action));
    } else {
        TRACE_LINE(trace::kWarning, L"no action for %s", name.c_str());
    }
}

/// Its process watching has to survive a change of profile, so that the parameters count the first time only.
ActionPointer OptimizerProfile::_ProcessWideAction(const picojson::value& value) {
    if (m_processWideAction == nullptr) {
        const picojson::value* const settings = json::Find(value, "settings");
        m_processWideAction =
            CreateProcessWideAction(settings != nullptr ? settings->serialize() : std::string(), m_main);
    }
    return ActionPointer(m_processWideAction.get());
}

picojson::value OptimizerProfile::_ReadConfig(profile wanted) {
    TRACE_SCOPE("OptimizerProfile::_ReadConfig");
    std::wstring text;
    picojson::value config;
    std::string error;
    if (!_ProfilesSettings()->GetConfig(&wanted, text)) return config;
    if (!json::Parse(Narrow(text), config, error)) {
        TRACE_LINE(trace::kWarning, L"%S", error.c_str());
        return {};
    }
    return config;
}

void OptimizerProfile::OnActionState(IOptimizerAction* action, const ActionState* state) {
    TRACE_SCOPE("OptimizerProfile::OnActionState");
    if (m_settings == nullptr) return;
    const std::wstring name = action->GetName();
    if (*state == ActionState::Reverted) {
        // An action may finish its way back as it is destroyed, which comes next. Its note stays until then:
        // a kill in between must not lose it, and what is put back twice is as right as once.
        m_reverted.push_back(name);
        return;
    }
    if (*state != ActionState::Started && *state != ActionState::Updated) return;
    _EraseNotes();
    IOptimizerActionSettings* const found = action->GetRevertParameters();
    if (found == nullptr) return;
    picojson::value value;
    found->ToJson(&value);
    IProfilesSettings* const settings = _ProfilesSettings();
    if (settings == nullptr) return;
    _ChangeRevertList(*settings, settings->IsSystemAction(name), [&](picojson::object& list) {
        list[Narrow(name)] = value;
        return true;
    });
}

void OptimizerProfile::_EraseNotes() {
    for (const std::wstring& name : m_reverted)
        _RemoveNote(name);
    m_reverted.clear();
}

/// From both lists: an action may have changed sides since its note was made.
void OptimizerProfile::_RemoveNote(const std::wstring& name) {
    IProfilesSettings* const settings = _ProfilesSettings();
    if (settings == nullptr) return;
    for (const bool system : {true, false}) {
        _ChangeRevertList(*settings, system,
                          [&](picojson::object& list) { return list.erase(Narrow(name)) != 0; });
    }
}

/// Reads one of the two revert lists, lets `change` have it and stores it when that says so.
template <class Change>
void OptimizerProfile::_ChangeRevertList(IProfilesSettings& settings, bool system, Change change) {
    TRACE_SCOPE("OptimizerProfile::_ChangeRevertList");
    const auto store = [&](const std::wstring& text) {
        return system ? settings.SetSystemRevertActions(text) : settings.SetUserRevertActions(text);
    };
    std::wstring text;
    if (!settings.GetRevertActions(system, text)) {
        TRACE_LINE(trace::kError, L"a note was not stored: its list can't be read now");
        return;
    }
    if (text.empty()) {
        text = L"{}";
        store(text);
    }
    picojson::value list;
    std::string error;
    if (!json::Parse(Narrow(text), list, error) || !list.is<picojson::object>()) {
        TRACE_LINE(trace::kError, L"%S", error.c_str());
        return;
    }
    if (!change(list.get<picojson::object>())) return;
    if (!store(Widen(list.serialize()))) TRACE_LINE(trace::kError, L"a note was not stored");
}

}  // namespace optimizer
