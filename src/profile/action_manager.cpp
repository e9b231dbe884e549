#include "profile/action_manager.h"

#include <vector>

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
    _RevertMissing(*newActions);
    _UpdateKept(*newActions);
    _StartNew(*newActions);
}

void ActionManager::_RevertMissing(const ActionMap& newActions) {
    for (auto active = m_active.begin(); active != m_active.end();) {
        if (newActions.contains(active->first)) {
            ++active;
            continue;
        }
        active->second->Revert();
        _Tell(*active->second, ActionState::Reverted);
        active = m_active.erase(active);
    }
}

void ActionManager::_UpdateKept(const ActionMap& newActions) {
    for (const auto& [name, newAction] : newActions) {
        if (m_cancel != 0) return;
        const auto active = m_active.find(name);
        if (active == m_active.end()) continue;
        _SetCurrent(active->second.get());
        active->second->Update(newAction->GetParameters());
        _Tell(*active->second, ActionState::Updated);
    }
}

void ActionManager::_StartNew(ActionMap& newActions) {
    std::vector<std::wstring> names;
    for (const auto& entry : newActions) {
        if (!m_active.contains(entry.first)) names.push_back(entry.first);
    }
    for (const std::wstring& name : names) {
        if (m_cancel != 0) return;
        const auto found = newActions.find(name);
        _SetCurrent(found->second.get());
        found->second->Start();
        _Tell(*found->second, ActionState::Started);
        m_active.insert(newActions.extract(found));
    }
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
    for (const auto& active : m_active) {
        if (m_cancel != 0) break;
        active.second->Revert();
        _Tell(*active.second, ActionState::Reverted);
    }
    if (m_cancel.exchange(0) == 0) m_active.clear();
}

bool ActionManager::PutBack(ActionMap& saved, const Ended& ended, const Stopped& stopped) {
    TRACE_SCOPE("ActionManager::PutBack");
    CriticalSectionGuard guard(m_setLock);
    const EndOfRun end(*this);
    bool complete = true;
    for (auto& [name, action] : saved) {
        if (m_active.contains(name)) continue;
        // A Cancel that comes between two actions reaches none.
        if (stopped()) return false;
        _SetCurrent(action.get());
        const bool done = action->PutBack() == 0;
        _SetCurrent(nullptr);
        // From here on no Cancel reaches the action, and one that did has set the flag.
        if (m_cancel != 0) return false;
        action.reset();
        if (done) ended(name);
        complete = complete && done;
    }
    return complete;
}

bool ActionManager::IsActive(const std::wstring& name) {
    CriticalSectionGuard guard(m_setLock);
    return m_active.contains(name);
}

void ActionManager::_SetCurrent(IOptimizerAction* action) {
    CriticalSectionGuard guard(m_currentLock);
    m_current = action;
}

void ActionManager::_Tell(IOptimizerAction& action, ActionState state) {
    if (m_observer != nullptr) m_observer->OnActionState(&action, &state);
}

}  // namespace optimizer
