#pragma once

#include <memory>
#include <string>

#include <picojson.h>

#include "border/optimizer.h"
#include "profile/action_map.h"

namespace optimizer {

class IProfilesSettings;

/// Turns the JSON of the settings into actions. Owned by OptimizerProfile; only the thread of a run calls it.
class ActionLists {
public:
    using profile = profiles::profile;

    /// All that is given outlives the object. `observer` hears of notes that become smaller.
    ActionLists(IServMain* main, ActionFactory factory, INoteObserver* observer)
        : m_main(main), m_factory(factory), m_observer(observer) {}

    /// The actions that ship with a profile, that of "Disabled" too, but for those that the user's config
    /// switches off. 0; 13 (ERROR_INVALID_DATA) for a list that can't be understood, 30 (ERROR_READ_FAULT)
    /// where the definitions can't be read, and there are no actions then.
    [[nodiscard]] uint32_t ReadShipped(IProfilesSettings& settings, profile which, ActionMap& actions);
    /// Null for a name that has no class here.
    ActionPointer Make(const std::wstring& name, const picojson::value& value);
    /// Puts back what the action that outlives a change of profile has done since it was reverted.
    void RevertProcessWideAction() {
        if (m_processWideAction != nullptr) m_processWideAction->Revert();
    }
    void EndProcessWideAction() { m_processWideAction.reset(); }

private:
    void _Add(const std::wstring& name, const picojson::value& value, ActionMap& actions);
    ActionPointer _ProcessWideAction(const picojson::value& value);

    IServMain* const m_main;
    const ActionFactory m_factory;
    INoteObserver* const m_observer;
    std::unique_ptr<IOptimizerAction> m_processWideAction;  // once made, kept to the end
};

/// Whether the user's config lets an action of a profile run: its boolean "active", or the default, which is
/// yes but for "PostponeWindowsUpdate" in "Work".
bool IsActionActive(const picojson::value& config, const std::string& name, profiles::profile wanted);

}  // namespace optimizer
