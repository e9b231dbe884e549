#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "border/host.h"
#include "border/optimizer.h"
#include "border/optimizer_settings.h"
#include "frame/handles.h"
#include "profile/action_manager.h"

namespace optimizer {

class IProfilesSettings;

class IOptimizerProfileObserver {
public:
    /// On the thread of the profile change, with no lock held.
    virtual void OnActionsExecuted(const profiles::profile* executed) = 0;

protected:
    ~IOptimizerProfileObserver() = default;
};

/// Carries out one change of profile at a time on the host's event queue, and keeps the list of what is
/// changed on disk after each action. Owned by ProfileManager, which calls Start, Stop and the rest with its
/// lock held; the run itself is on a queue thread and takes no lock of the manager's, since Stop waits for
/// it.
class OptimizerProfile final : public IActionObserver {
public:
    using profile = profiles::profile;

    OptimizerProfile(IServMain* main, IOptimizerProfileObserver* observer, ActionFactory factory);
    /// Ends a run in flight. When an uninstall was announced, puts the whole machine back on this thread.
    ~OptimizerProfile();
    OptimizerProfile(const OptimizerProfile&) = delete;
    OptimizerProfile& operator=(const OptimizerProfile&) = delete;

    void OnActionState(IOptimizerAction* action, const ActionState* state) override;

    /// Posts the change and returns. While a change runs, a new one is dropped and the result is 0.
    uint32_t Start(const profile* wanted);
    /// Cancels the change in flight and blocks until it has ended.
    uint32_t Stop();
    /// Reads the stored profile into `out` and starts it as a restore: the actions are given the values that
    /// an earlier run saved.
    uint32_t RestoreLastProfile(profile* out);
    uint32_t SetProfileConfig(const profile* which, const std::wstring& text);
    uint32_t GetProfileConfig(const profile* which, std::wstring& out);

private:
    void _Start(profile wanted);
    void _Run(profile wanted);
    void _Restore(profile wanted, ActionMap& actions);
    [[nodiscard]] bool _ReadNotes(ActionMap& saved);
    [[nodiscard]] bool _TakeOverNotes(ActionMap& saved, ActionMap& actions);
    void _EraseNotes();
    void _RemoveNote(const std::wstring& name);
    bool _GetActionLists(profile wanted, ActionMap& actions);
    bool _GetActionList(bool system, profile wanted, ActionMap& actions);
    bool _AddActions(const std::wstring& text, profile wanted, ActionMap& actions);
    void _AddAction(const std::wstring& name, const picojson::value& value, ActionMap& actions);
    ActionPointer _ProcessWideAction(const picojson::value& value);
    picojson::value _ReadConfig(profile wanted);
    template <class Change>
    void _ChangeRevertList(IProfilesSettings& settings, bool system, Change change);
    IProfilesSettings* _ProfilesSettings() const;

    IServMain* const m_main;
    IEventQueue* m_queue = nullptr;
    QueueHandle m_item = nullptr;  // the posted run; null when none is outstanding
    KernelHandle m_stopEvent;
    std::unique_ptr<ActionManager> m_actions;
    IComponentManager* m_components = nullptr;
    IOptimizerSettings* m_settings = nullptr;
    IOptimizerProfileObserver* const m_observer;
    std::atomic<int32_t> m_restore = 0;  // 1 while the next run is a restore
    KernelHandle m_uninstallEvent;
    const ActionFactory m_factory;
    // Only touched by the run.
    std::unique_ptr<IOptimizerAction> m_processWideAction;  // once made, kept to the end
    bool m_hasRun = false;
    std::vector<std::wstring> m_reverted;  // actions whose notes can go when they are destroyed
};

/// Whether the user's config lets an action of a profile run: its boolean "active", or the default, which is
/// yes but for "PostponeWindowsUpdate" in "Work".
bool IsActionActive(const picojson::value& config, const std::string& name, profiles::profile wanted);

}  // namespace optimizer
