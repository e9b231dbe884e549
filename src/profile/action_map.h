#pragma once

#include <map>
#include <memory>
#include <string>

#include "actions/optimizer_action.h"

struct IServMain;

namespace optimizer {

/// The one action that outlives a change of profile.
inline constexpr const wchar_t* kProcessWideAction = L"WindowsProcesses";

/// Ends an action of a map. The process-wide action is in maps like any other but belongs to
/// OptimizerProfile, so that it is spared here.
struct ActionDeleter {
    void operator()(IOptimizerAction* action) const {
        if (std::wstring(action->GetName()) != kProcessWideAction) delete action;
    }
};

using ActionPointer = std::unique_ptr<IOptimizerAction, ActionDeleter>;

/// Actions by their names, compared as wide strings.
using ActionMap = std::map<std::wstring, ActionPointer>;

/// Makes the action of a name from its parameters as JSON text; null for a name that has no class here.
using ActionFactory = ActionPointer (*)(const std::wstring& name, const std::string& parameters,
                                        IServMain* main);

}  // namespace optimizer
