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
    /// switches off. False when the list can't be understood.
    [[nodiscard]] bool ReadShipped(IProfilesSettings& settings, profile which, ActionMap& actions);
    /// Null for a name that has no class here.
    ActionPointer Make(const std::wstring& name, const picojson::value& value);
    /// Ends the action that outlives a change of profile.
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
