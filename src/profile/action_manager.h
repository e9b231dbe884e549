#pragma once

#include <atomic>
#include <functional>
#include <set>
#include <string>

#include "frame/critical_section.h"
#include "profile/action_map.h"

namespace optimizer {

class IOptimizerActionManager {
public:
    virtual void Apply(ActionMap* newActions) = 0;
    virtual void Cancel() = 0;
    virtual void RevertAll() = 0;

protected:
    ~IOptimizerActionManager() = default;
};

/// Moves the machine from one set of actions to the next. Owned by OptimizerProfile. Apply, RevertAll and
/// PutBack run on the thread of a profile change and block until it is done; Cancel comes from any other
/// thread. Nothing is started or updated before what it will have to return to is on disk; the observer sees
/// to that, and hears of what didn't get through. The results of Start, Update and Revert aren't looked at:
/// an action that failed counts as active, and its own Revert takes back what it managed.
///
/// Locks: the set lock, then the current lock.
class ActionManager final : public IOptimizerActionManager {
public:
    /// The observer is called with the set lock held.
    explicit ActionManager(IActionObserver* observer) : m_observer(observer) {}
    /// Ends the actions without reverting them: what they changed stays in force, as the notes on disk tell.
    ~ActionManager() = default;

    /// Reverts what `newActions` no longer holds, updates what both sets hold, starts what is new and takes
    /// it out of `newActions`. What is left there stays the caller's.
    void Apply(ActionMap* newActions) override;
    /// Asks the action that is being worked on to give up and skips the ones after it.
    void Cancel() override;
    void RevertAll() override;

    using Ended = std::function<void(const std::wstring& name)>;
    using Stopped = std::function<bool()>;
    /// Puts back and ends each action of `saved` that isn't active, whose parameters are the values to return
    /// to; `ended` is told of those that are back. Ends early when a Cancel came or `stopped` says so, which
    /// is asked before each.
    void PutBack(ActionMap& saved, const Ended& ended, const Stopped& stopped);
    bool IsActive(const std::wstring& name);
    /// Ends actions without reverting them: what they changed stays in force, as the notes on disk tell.
    void LetGo(const std::function<bool(IOptimizerAction&)>& chosen);

private:
    class EndOfRun;
    using Names = std::set<std::wstring>;

    void _RevertMissing(const ActionMap& newActions, Names& notBack) REQUIRES(m_setLock);
    bool _Revert(IOptimizerAction& action);
    void _UpdateKept(const ActionMap& newActions) REQUIRES(m_setLock);
    void _StartNew(ActionMap& newActions, const Names& notBack) REQUIRES(m_setLock);
    bool _Note(IOptimizerAction& action, IOptimizerActionSettings* next);
    void _SetCurrent(IOptimizerAction* action) EXCLUDES(m_currentLock);
    void _Tell(IOptimizerAction& action, ActionState state);

    CCriticalSection m_setLock;
    ActionMap m_active GUARDED_BY(m_setLock);

    CCriticalSection m_currentLock ACQUIRED_AFTER(m_setLock);
    IOptimizerAction* m_current GUARDED_BY(m_currentLock) = nullptr;  // the action being worked on

    std::atomic<int32_t> m_cancel = 0;
    IActionObserver* const m_observer;
};

}  // namespace optimizer
