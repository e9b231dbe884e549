#pragma once

#include <string>
#include <vector>

#include "border/optimizer.h"

namespace ctl {

/// The profile of a name in any letter case. Throws a Failure that lists the choices.
optimizer::profiles::profile FindProfile(const std::wstring& name);
/// The name as it is written; the number of a profile that has none.
std::wstring NameOf(optimizer::profiles::profile which);

/// The action's name as it is written, for one in any letter case. Throws a Failure that lists the choices.
std::wstring FindAction(const std::wstring& name);
bool IsActionName(const std::wstring& name);

std::vector<std::wstring> ProfileNames();
std::vector<std::wstring> ActionNames();
/// "A, B or C"
std::wstring ListChoices(const std::vector<std::wstring>& names);

}  // namespace ctl
