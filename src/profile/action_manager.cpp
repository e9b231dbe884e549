#include "profile/action_manager.h"

#include <vector>

#include <windows.h>

#include "frame/trace.h"

namespace optimizer {

/// Leaves no action current and no cancel behind a run, also when it ends in an exception: a Cancel must
/// never reach an action that is gone.
class ActionManager::EndOfRun {
public:
    explicit EndOfRun(ActionManager& manager) : m_manager(manager) {}
    ~EndOfRun() {
        m_manager._SetCurrent(nullptr);
        m_manager.m_cancel.exchange(0);
    }
    EndOfRun(const EndOfRun&) = delete;
    EndOfRun& operator=(const EndOfRun&) = delete;

private:
    ActionManager& m_manager;
};

void ActionManager::Apply(ActionMap* newActions) {
    TRACE_SCOPE("ActionManager::Apply");
    _SetCurrent(nullptr);
    CriticalSectionGuard guard(m_setLock);
    const EndOfRun end(*this);
    Names notBack;
    _RevertMissing(*newActions, notBack);
    _UpdateKept(*newActions);
    _StartNew(*newActions, notBack);
}

/// An action that can't go on to the new parameters under the note it has counts as missing too.
void ActionManager::_RevertMissing(const ActionMap& newActions, Names& notBack) {
    for (auto active = m_active.begin(); active != m_active.end();) {
        const auto next = newActions.find(active->first);
        if (next != newActions.end() && active->second->CanUpdateTo(next->second->GetParameters())) {
            ++active;
            continue;
        }
        if (!_Revert(*active->second)) notBack.insert(active->first);
        active = m_active.erase(active);
    }
}

/// The observer is told of a way back only when it got through: it takes the note away then. Otherwise it
/// keeps what is still to be put back.
bool ActionManager::_Revert(IOptimizerAction& action) {
    TRACE_SCOPE("ActionManager::_Revert");
    _SetCurrent(&action);
    action.Revert();
    // After a cancel nothing is waited for; the notes tell the next run what is left.
    const uint32_t error = m_cancel == 0 ? action.FinishRevert() : uint32_t{ERROR_CANCELLED};
    _SetCurrent(nullptr);
    if (error == ERROR_SUCCESS) {
        _Tell(action, ActionState::Reverted);
        return true;
    }
    if (m_observer != nullptr) {
        static_cast<void>(m_observer->OnActionNoted(&action));
        m_observer->OnActionFailed(action.GetName(), ActionStep::Revert, error);
    }
    return false;
}

void ActionManager::_UpdateKept(const ActionMap& newActions) {
    for (const auto& [name, newAction] : newActions) {
        if (m_cancel != 0) return;
        const auto active = m_active.find(name);
        if (active == m_active.end()) continue;
        _SetCurrent(active->second.get());
        if (!_Note(*active->second, newAction->GetParameters())) continue;
        if (m_cancel != 0) return;
        active->second->Update(newAction->GetParameters());
        _Tell(*active->second, ActionState::Updated);
    }
}

void ActionManager::_StartNew(ActionMap& newActions, const Names& notBack) {
    std::vector<std::wstring> names;
    for (const auto& entry : newActions) {
        // Started now, one whose predecessor isn't back would note what that left behind.
        if (!m_active.contains(entry.first) && !notBack.contains(entry.first)) names.push_back(entry.first);
    }
    for (const std::wstring& name : names) {
        if (m_cancel != 0) return;
        const auto found = newActions.find(name);
        _SetCurrent(found->second.get());
        if (!_Note(*found->second, nullptr)) continue;
        // Cut short here, the note names what the machine is at anyway.
        if (m_cancel != 0) return;
        found->second->Start();
        _Tell(*found->second, ActionState::Started);
        m_active.insert(newActions.extract(found));
    }
}

/// What can't be noted isn't changed: the way back comes first.
bool ActionManager::_Note(IOptimizerAction& action, IOptimizerActionSettings* next) {
    TRACE_SCOPE("ActionManager::_Note");
    ActionStep step = ActionStep::Note;
    uint32_t error = action.Note(next);
    if (error == ERROR_SUCCESS && m_observer != nullptr) {
        step = ActionStep::Store;
        error = m_observer->OnActionNoted(&action);
    }
    if (error == ERROR_SUCCESS) return true;
    TRACE_LINE(trace::kError, L"%s isn't changed, since its note failed 0x%x", action.GetName(), error);
    if (m_observer != nullptr) m_observer->OnActionFailed(action.GetName(), step, error);
    return false;
}

void ActionManager::Cancel() {
    TRACE_SCOPE("ActionManager::Cancel");
    {
        CriticalSectionGuard guard(m_currentLock);
        if (m_current == nullptr) return;
    }
    m_cancel.exchange(1);
    CriticalSectionGuard guard(m_currentLock);
    if (m_current != nullptr) {
        static_cast<void>(m_current->Cancel());
    } else {
        // The run ended in the meantime and has cleared the flag already; left set, it would stop the next
        // run.
        m_cancel.exchange(0);
    }
}

void ActionManager::RevertAll() {
    TRACE_SCOPE("ActionManager::RevertAll");
    CriticalSectionGuard guard(m_setLock);
    const EndOfRun end(*this);
    // Each one leaves the set as it is back: kept until all are, one without a note would count as active
    // after a cancel.
    for (auto active = m_active.begin(); active != m_active.end() && m_cancel == 0;) {
        static_cast<void>(_Revert(*active->second));
        active = m_active.erase(active);
    }
}

void ActionManager::PutBack(ActionMap& saved, const Ended& ended, const Stopped& stopped) {
    TRACE_SCOPE("ActionManager::PutBack");
    CriticalSectionGuard guard(m_setLock);
    const EndOfRun end(*this);
    for (auto& [name, action] : saved) {
        if (m_active.contains(name)) continue;
        // A Cancel that comes between two actions reaches none.
        if (stopped()) return;
        _SetCurrent(action.get());
        const uint32_t error = action->PutBack();
        _SetCurrent(nullptr);
        // From here on no Cancel reaches the action, and one that did has set the flag.
        if (m_cancel != 0) return;
        action.reset();
        if (error == ERROR_SUCCESS) {
            ended(name);
        } else if (m_observer != nullptr) {
            m_observer->OnActionFailed(name, ActionStep::PutBack, error);
        }
    }
}

bool ActionManager::IsActive(const std::wstring& name) {
    CriticalSectionGuard guard(m_setLock);
    return m_active.contains(name);
}

void ActionManager::LetGo(const std::function<bool(IOptimizerAction&)>& chosen) {
    TRACE_SCOPE("ActionManager::LetGo");
    CriticalSectionGuard guard(m_setLock);
    std::erase_if(m_active, [&](const auto& active) { return chosen(*active.second); });
}

void ActionManager::_SetCurrent(IOptimizerAction* action) {
    CriticalSectionGuard guard(m_currentLock);
    m_current = action;
}

void ActionManager::_Tell(IOptimizerAction& action, ActionState state) {
    if (m_observer != nullptr) m_observer->OnActionState(&action, &state);
}

}  // namespace optimizer
