#pragma once

#include "profile/action_map.h"

namespace optimizer {

/// The engine's own factory: the table of all actions. Broken parameters give the action its default values.
ActionPointer CreateAction(const std::wstring& name, const std::string& parameters, IServMain* main);

/// The process-wide action, which the table lacks: OptimizerProfile makes one and owns it.
std::unique_ptr<IOptimizerAction> CreateProcessWideAction(const std::string& parameters, IServMain* main);

}  // namespace optimizer
