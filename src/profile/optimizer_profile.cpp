#include "profile/optimizer_profile.h"

#include <utility>

#include "frame/guarded.h"
#include "frame/plugin_request.h"
#include "frame/trace.h"
#include "frame/uninstall_event.h"
#include "frame/work_item.h"
#include "profile/other_users.h"
#include "settings/iprofiles_settings.h"

namespace optimizer {

namespace {

constexpr const wchar_t* kSettingsPlugin = L"optimizersettings";
constexpr uint32_t kCancelPeriodMs = 200;

bool IsSignalled(const KernelHandle& event) {
    return event && WaitForSingleObject(event.Get(), 0) == WAIT_OBJECT_0;
}

const char* NameOf(ActionStep step) {
    switch (step) {
        case ActionStep::Note:
            return "note";
        case ActionStep::Store:
            return "store";
        case ActionStep::Revert:
            return "revert";
        case ActionStep::PutBack:
            return "putBack";
    }
    return "";
}

}  // namespace

OptimizerProfile::OptimizerProfile(IServMain* main, IOptimizerProfileObserver* observer,
                                   ActionFactory factory)
    : m_main(main), m_observer(observer), m_lists(main, factory, this) {
    TRACE_SCOPE("OptimizerProfile::OptimizerProfile");
    if (main != nullptr) {
        m_queue = main->GetEventQueue();
        m_components = main->GetComponentManager();
    }
    m_settings = RequestPlugin<IOptimizerSettings>(m_components, kSettingsPlugin);
    m_stopEvent.Reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    m_notes = std::make_unique<NoteBook>(_ProfilesSettings());
    m_actions = std::make_unique<ActionManager>(this);
    m_uninstallEvent = OpenUninstallEvent();
}

OptimizerProfile::~OptimizerProfile() {
    TRACE_SCOPE("OptimizerProfile::~OptimizerProfile");
    Stop();
    if (IsSignalled(m_uninstallEvent) || m_isUninstall) {
        static_cast<void>(Guarded([this] {
            m_report.Begin(profile::Disabled);
            constexpr profile kDisabled = profile::Disabled;
            if (IProfilesSettings* const settings = _ProfilesSettings())
                settings->SetActiveProfile(&kDisabled);
            _Run(profile::Disabled, Scope::WayBack);
            _PutBackForOtherUsers();
            m_lists.RevertProcessWideAction();
            m_report.End();
            if (m_observer != nullptr) m_observer->OnActionsExecuted(&kDisabled);
            return uint32_t{ERROR_SUCCESS};
        }));
    }
    if (m_item != nullptr) m_queue->CloseItem(m_item);
    // Before the settings: an action may still tell of a note as it ends.
    m_actions.reset();
    if (m_settings != nullptr) m_components->ReleasePlugin(kSettingsPlugin);
    m_uninstallEvent.Reset();
    m_lists.EndProcessWideAction();
}

/// Not in the run, which may be cancelled before it begins, or never come after a kill.
uint32_t OptimizerProfile::StoreChoice(const profile* wanted) {
    TRACE_SCOPE("OptimizerProfile::StoreChoice");
    IProfilesSettings* const settings = _ProfilesSettings();
    const uint32_t error = settings != nullptr ? settings->StoreActiveProfile(wanted) : ERROR_GEN_FAILURE;
    return error == ERROR_NO_SUCH_USER ? uint32_t{ERROR_SUCCESS} : error;
}

void OptimizerProfile::TellOfChoice(uint32_t error) {
    m_report.Add({.step = kChoiceStep, .action = L"", .notes = L"", .code = error});
}

bool OptimizerProfile::IsBack() {
    return m_report.IsSettled(profile::Disabled) && m_notes->IsOfPresentUser();
}

void OptimizerProfile::GoOn() {
    TRACE_SCOPE("OptimizerProfile::GoOn");
    if (m_report.WasStopped()) static_cast<void>(Start(&m_posted));
}

void OptimizerProfile::GoOnWithAgent() {
    TRACE_SCOPE("OptimizerProfile::GoOnWithAgent");
    if (m_report.AskAgain() || !m_report.LacksAgent()) return;
    Stop();  // the run is over, but may still be telling so
    static_cast<void>(Start(&m_posted));
}

bool OptimizerProfile::_IsBusy() {
    if (m_item != nullptr && m_queue->Wait(m_item, 0) != WAIT_TIMEOUT) {
        m_queue->CloseItem(m_item);
        m_item = nullptr;
    }
    return m_item != nullptr;
}

uint32_t OptimizerProfile::Start(const profile* wanted) {
    TRACE_SCOPE("OptimizerProfile::Start");
    if (m_queue == nullptr || !m_stopEvent) return ERROR_INVALID_HANDLE;
    // A change runs: the new one is dropped and still a success. The manager calls Stop first wherever it
    // matters.
    if (_IsBusy()) return ERROR_SUCCESS;
    m_posted = *wanted;
    auto* const item =
        new EqWorkItemMember1<void, OptimizerProfile, profile>(this, *wanted, &OptimizerProfile::_Start);
    m_report.Begin(*wanted);
    const uint32_t error = m_queue->Post(L"OptimizerProfile::Start", &m_item, item, 0, 0, 0);
    if (error != ERROR_SUCCESS) {
        item->Dispose();
        m_report.SetStopped();
        m_report.End();
    }
    return m_item != nullptr ? error : ERROR_INVALID_HANDLE;
}

uint32_t OptimizerProfile::Stop() {
    TRACE_SCOPE("OptimizerProfile::Stop");
    if (m_queue == nullptr || m_item == nullptr || !m_stopEvent) return ERROR_SUCCESS;
    SetEvent(m_stopEvent.Get());
    // Asked more than once: between two actions, and in front of one's wait, a cancel reaches nothing.
    do {
        m_actions->Cancel();
    } while (m_queue->Wait(m_item, kCancelPeriodMs) == WAIT_TIMEOUT);
    m_queue->CloseItem(m_item);
    m_item = nullptr;
    ResetEvent(m_stopEvent.Get());
    return ERROR_SUCCESS;
}

uint32_t OptimizerProfile::RestoreLastProfile(profile* out, bool moduleIsOn) {
    TRACE_SCOPE("OptimizerProfile::RestoreLastProfile");
    IProfilesSettings* const settings = _ProfilesSettings();
    if (settings == nullptr) return ERROR_GEN_FAILURE;
    if (!settings->GetActiveProfile(out)) {
        TRACE_LINE(trace::kWarning, L"ProfilesSettings::GetActiveProfile failed");
        return ERROR_GEN_FAILURE;
    }
    const bool runs = moduleIsOn || *out == profile::Battery;
    const profile inForce = runs ? *out : profile::Disabled;
    return Start(&inForce);
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
    try {
        do {
            if (!IsSignalled(m_stopEvent)) _Run(wanted, Scope::Profile);
            if (IsSignalled(m_stopEvent)) m_report.SetStopped();
        } while (!m_report.EndUnlessAskedAgain());
    } catch (...) {
        // The queue survives it; who waits for the run's end, or asks how it ended, must not wait for ever.
        m_report.SetStopped();
        m_report.End();
        if (m_observer != nullptr) m_observer->OnActionsExecuted(&wanted);
        throw;
    }
    // Told in all cases, also after a stop or a failure: clients wait for it.
    if (m_observer != nullptr) m_observer->OnActionsExecuted(&wanted);
}

/// Every run works off what is noted and belongs to no active action, not only the first one: notes that
/// could not be read, or were left by a run that failed or was cut short, must never be taken for none.
void OptimizerProfile::_Run(profile wanted, Scope scope) {
    TRACE_SCOPE("OptimizerProfile::_Run");
    m_notBack.clear();
    // In this order: until they are gone, the actions of the user before may still tell of their notes.
    if (m_notes->IsAnotherUsersTurn()) _LetGoOfOtherUsers();
    m_notes->TurnToUser();
    IProfilesSettings* const settings = _ProfilesSettings();
    ActionMap actions;
    if (scope == Scope::Profile && settings != nullptr) {
        const uint32_t error = m_lists.ReadShipped(*settings, wanted, actions);
        if (error != ERROR_SUCCESS)
            m_report.Add({.step = "list", .action = L"", .notes = L"", .code = error});
        // A list that isn't understood changes nothing, but is no reason to leave the machine changed.
        if (error == ERROR_INVALID_DATA && wanted != profile::Disabled) return;
        if (error != ERROR_SUCCESS) actions.clear();
    }
    // The actions that may ship with "Disabled" are actions like any others, with notes of their own.
    const bool onlyBack = wanted == profile::Disabled && actions.empty();
    if (onlyBack) m_actions->RevertAll();
    _TakeOverNotes(actions);
    if (!onlyBack && !IsSignalled(m_stopEvent) && _IsUsersTurn()) m_actions->Apply(&actions);
}

/// What is the user's stays in force as that user left it, and its notes in that user's list: neither may be
/// mixed up with what the next user's actions find.
void OptimizerProfile::_LetGoOfOtherUsers() {
    TRACE_SCOPE("OptimizerProfile::_LetGoOfOtherUsers");
    m_actions->LetGo([this](IOptimizerAction& action) {
        return action.GetName() != std::wstring(kProcessWideAction) && m_notes->IsOfUser(action);
    });
}

/// Hands the wanted actions the values that an earlier run saved, so that they won't take the state which
/// that run left behind for the state to return to. What is noted and no longer wanted, or doesn't fit what
/// is wanted, is put back; a note goes only when that is done, and an action whose note has to go first waits
/// for it.
void OptimizerProfile::_TakeOverNotes(ActionMap& actions) {
    TRACE_SCOPE("OptimizerProfile::_TakeOverNotes");
    std::vector<std::pair<std::wstring, uint32_t>> unread;
    const std::vector<Note> notes = m_notes->Read(unread);
    for (const auto& [key, code] : unread)
        m_report.Add({.step = "read", .action = L"", .notes = key, .code = code});

    ActionMap saved;
    for (const Note& note : notes) {
        if (m_actions->IsActive(note.action) || m_notBack.contains(note.action)) continue;
        if (note.isAnothers) {
            // Its own user gets it back. Until then there is no room for a note of this one's.
            m_report.Add(
                {.step = "another", .action = note.action, .notes = note.key, .code = ERROR_NOT_OWNER});
            actions.erase(note.action);
            continue;
        }
        const auto wanted = actions.find(note.action);
        if (wanted != actions.end() && _HandOver(note, *wanted->second)) continue;
        if (ActionPointer action = m_lists.Make(note.action, note.values)) {
            saved.emplace(note.action, std::move(action));
        } else {
            m_report.Add(
                {.step = "putBack", .action = note.action, .notes = note.key, .code = ERROR_NOT_FOUND});
        }
    }
    _PutBack(saved);
    // What is left in there isn't back.
    for (const auto& entry : saved)
        actions.erase(entry.first);
}

bool OptimizerProfile::_HandOver(const Note& note, IOptimizerAction& action) {
    if (note.isNamed) return true;
    const ActionPointer earlier = m_lists.Make(note.action, note.values);
    IOptimizerActionSettings* const values = earlier ? earlier->GetParameters() : nullptr;
    if (values == nullptr || !action.CanReturnTo(values)) return false;
    return action.SetRevertParameters(values) == ERROR_SUCCESS;
}

/// Takes out of `saved` what is back.
void OptimizerProfile::_PutBack(ActionMap& saved) {
    std::set<std::wstring> back;
    m_actions->PutBack(
        saved,
        [&](const std::wstring& name) {
            // With another user there by now it may be that one who got the value.
            if (!_IsUsersTurn()) return;
            _Erase(name);
            back.insert(name);
        },
        [this] { return IsSignalled(m_stopEvent) || !_IsUsersTurn(); });
    for (const std::wstring& name : back)
        saved.erase(name);
}

/// False when another user has come to the console since the run began: the logon brings a run of its own.
bool OptimizerProfile::_IsUsersTurn() {
    if (!m_notes->IsAnotherUsersTurn()) return true;
    m_report.SetStopped();
    return false;
}

void OptimizerProfile::_PutBackForOtherUsers() {
    TRACE_SCOPE("OptimizerProfile::_PutBackForOtherUsers");
    if (IProfilesSettings* const settings = _ProfilesSettings()) {
        OtherUsers(settings->Notes(), m_lists, m_report).PutBack();
    }
}

void OptimizerProfile::_Erase(const std::wstring& action) {
    const uint32_t error = m_notes->Erase(action);
    if (error != ERROR_SUCCESS)
        m_report.Add({.step = "erase", .action = action, .notes = L"", .code = error});
}

void OptimizerProfile::OnActionState(IOptimizerAction* action, const ActionState* state) {
    TRACE_SCOPE("OptimizerProfile::OnActionState");
    switch (*state) {
        case ActionState::Reverted:
            _Erase(action->GetName());
            return;
        case ActionState::Started:
        case ActionState::Updated:
            // Its note is there already; a change may have told the action more.
            if (const uint32_t error = m_notes->Store(*action); error != ERROR_SUCCESS) {
                OnActionFailed(action->GetName(), ActionStep::Store, error);
            }
            return;
    }
}

uint32_t OptimizerProfile::OnActionNoted(IOptimizerAction* action) {
    TRACE_SCOPE("OptimizerProfile::OnActionNoted");
    return m_notes->Store(*action);
}

void OptimizerProfile::OnActionFailed(const std::wstring& action, ActionStep step, uint32_t code) {
    if (step == ActionStep::Revert) m_notBack.insert(action);
    m_report.Add({.step = NameOf(step), .action = action, .notes = L"", .code = code});
}

void OptimizerProfile::OnNoteShrunk(IOptimizerAction* action) {
    TRACE_SCOPE("OptimizerProfile::OnNoteShrunk");
    m_notes->StoreShrunk(*action);
}

}  // namespace optimizer
