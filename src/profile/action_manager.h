#pragma once

#include <atomic>
#include <functional>

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
/// Forget run on the thread of a profile change and block until it is done; Cancel comes from any other
/// thread. The results of the actions aren't looked at: an action that failed counts as active, and its own
/// Revert takes back what it managed.
///
/// Locks: the set lock, then the current lock.
class ActionManager final : public IOptimizerActionManager {
public:
    /// The observer hears of each action on the thread of the change, with the set lock held.
    explicit ActionManager(IActionObserver* observer) : m_observer(observer) {}
    /// Ends the actions without reverting them: what they changed stays in force, as the notes on disk tell.
    ~ActionManager() = default;

    /// Reverts what `newActions` no longer holds, updates what both sets hold, starts what is new and takes
    /// it out of `newActions`. What is left there stays the caller's.
    void Apply(ActionMap* newActions) override;
    /// Asks the action that is being started to give up and skips the ones after it.
    void Cancel() override;
    void RevertAll() override;
    /// Told of an action by its name, when it has ended and all it had to do is done.
    using Ended = std::function<void(const std::wstring& name)>;
    using Stopped = std::function<bool()>;
    /// Starts and ends each action of `saved` that isn't active, whose parameters are the values to return
    /// to. False when one of them didn't take effect, a Cancel came or `stopped` says so, which is asked
    /// before each; `ended` isn't told of those.
    [[nodiscard]] bool PutBack(ActionMap& saved, const Ended& ended, const Stopped& stopped);
    bool IsActive(const std::wstring& name);

private:
    class EndOfRun;

    void _RevertMissing(const ActionMap& newActions);
    void _UpdateKept(const ActionMap& newActions);
    void _StartNew(ActionMap& newActions);
    void _SetCurrent(IOptimizerAction* action);
    void _Tell(IOptimizerAction& action, ActionState state);

    CCriticalSection m_setLock;
    ActionMap m_active;  // guarded by m_setLock

    CCriticalSection m_currentLock;
    IOptimizerAction* m_current = nullptr;  // the action being worked on; guarded by m_currentLock

    std::atomic<int32_t> m_cancel = 0;
    IActionObserver* const m_observer;
};

}  // namespace optimizer
