#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "border/host.h"
#include "border/optimizer.h"
#include "border/optimizer_settings.h"
#include "frame/handles.h"
#include "profile/action_lists.h"
#include "profile/action_manager.h"
#include "profile/note_book.h"
#include "profile/run_report.h"

namespace optimizer {

class IProfilesSettings;

class IOptimizerProfileObserver {
public:
    /// On the thread of the profile change, with no lock held.
    virtual void OnActionsExecuted(const profiles::profile* executed) = 0;

protected:
    ~IOptimizerProfileObserver() = default;
};

/// Carries out one change of profile at a time on the host's event queue. What each action will have to
/// return to is on disk before the action changes anything, and goes from there when the machine is back;
/// what an earlier run noted is handed to the actions that go on with it, and put back otherwise, in every
/// run.
///
/// Owned by ProfileManager, which calls Start, Stop and the rest with its lock held; the run itself is on a
/// queue thread and takes no lock of the manager's, since Stop waits for it.
class OptimizerProfile final : public IActionObserver, public INoteObserver {
public:
    using profile = profiles::profile;

    OptimizerProfile(IServMain* main, IOptimizerProfileObserver* observer, ActionFactory factory);
    /// Ends a run in flight. When an uninstall was announced, puts the whole machine back on this thread,
    /// what was noted for users who aren't here included.
    ~OptimizerProfile();
    OptimizerProfile(const OptimizerProfile&) = delete;
    OptimizerProfile& operator=(const OptimizerProfile&) = delete;

    void OnActionState(IOptimizerAction* action, const ActionState* state) override;
    uint32_t OnActionNoted(IOptimizerAction* action) override;
    void OnActionFailed(const std::wstring& action, ActionStep step, uint32_t code) override;
    void OnNoteShrunk(IOptimizerAction* action) override;

    /// Makes the choice the one that the next start finds, before anything is begun or stopped for it. 0 also
    /// with nobody at the console, whose choice isn't remembered; or the error of the store.
    [[nodiscard]] uint32_t StoreChoice(const profile* wanted);
    /// Posts the change and returns. While a change runs, a new one is dropped and the result is 0.
    uint32_t Start(const profile* wanted);
    /// Cancels the change in flight and blocks until it has ended.
    uint32_t Stop();
    /// Posts the last change again where it was cut short, for who has stopped it and begins no other.
    void GoOn();
    /// An agent has come: what was left undone for want of one is done now, by the run that goes on or by
    /// another.
    void GoOnWithAgent();
    /// Has the run that goes on do what it didn't get done once more; false when none goes on.
    bool AskAgain() { return m_report.AskAgain(); }
    /// Has the end put the whole machine back, as an announced uninstall does.
    void ExpectUninstall() { m_isUninstall = true; }
    /// Tells of a choice that couldn't be stored although it is carried out.
    void TellOfChoice(uint32_t error);
    /// Whether the machine is back, for the user who is at the console now.
    bool IsBack();
    /// Reads the stored profile into `out` and starts it. While the module is off nothing but "Battery" and
    /// "Disabled" is carried out: another choice stays stored, and what is noted is put back.
    uint32_t RestoreLastProfile(profile* out, bool moduleIsOn);
    uint32_t SetProfileConfig(const profile* which, const std::wstring& text);
    uint32_t GetProfileConfig(const profile* which, std::wstring& out);
    const RunReport& Report() const { return m_report; }

private:
    enum class Scope {
        Profile,  // the profile's actions, and the way back of what it lacks
        WayBack,  // the way back alone
    };

    bool _IsBusy();
    bool _IsUsersTurn();
    void _Start(profile wanted);
    void _Run(profile wanted, Scope scope);
    void _LetGoOfOtherUsers();
    void _TakeOverNotes(ActionMap& actions);
    bool _HandOver(const Note& note, IOptimizerAction& action);
    void _PutBack(ActionMap& saved);
    void _PutBackForOtherUsers();
    void _Erase(const std::wstring& action);
    IProfilesSettings* _ProfilesSettings() const;

    IServMain* const m_main;
    IEventQueue* m_queue = nullptr;
    QueueHandle m_item = nullptr;  // the posted run; null when none is outstanding
    KernelHandle m_stopEvent;
    std::unique_ptr<ActionManager> m_actions;
    IComponentManager* m_components = nullptr;
    IOptimizerSettings* m_settings = nullptr;
    IOptimizerProfileObserver* const m_observer;
    KernelHandle m_uninstallEvent;
    bool m_isUninstall = false;  // told without the event
    std::unique_ptr<NoteBook> m_notes;
    RunReport m_report;
    profile m_posted = profile::Disabled;  // the last one
    // Only touched by the run.
    ActionLists m_lists;
    std::set<std::wstring> m_notBack;  // actions whose way back failed in this run
};

}  // namespace optimizer
