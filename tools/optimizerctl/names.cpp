#include "tools/optimizerctl/names.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

#include "tools/optimizerctl/failure.h"

namespace ctl {

using optimizer::profiles::profile;

profile FindProfile(const std::wstring& name) {
    for (uint32_t value = 0; value < optimizer::profiles::kCount; ++value) {
        if (_wcsicmp(name.c_str(), optimizer::profiles::kNames[value]) == 0) return profile{value};
    }
    throw WrongUse(L"There is no profile \"" + name + L"\"; choose " + ListChoices(ProfileNames()) + L".");
}

std::wstring NameOf(profile which) {
    const auto value = static_cast<uint32_t>(which);
    return value < optimizer::profiles::kCount ? optimizer::profiles::kNames[value] : std::to_wstring(value);
}

std::wstring FindAction(const std::wstring& name) {
    for (const wchar_t* action : optimizer::kActionNames) {
        if (_wcsicmp(name.c_str(), action) == 0) return action;
    }
    throw WrongUse(L"There is no action \"" + name + L"\"; choose " + ListChoices(ActionNames()) + L".");
}

bool IsActionName(const std::wstring& name) {
    return std::find(std::begin(optimizer::kActionNames), std::end(optimizer::kActionNames), name) !=
           std::end(optimizer::kActionNames);
}

std::vector<std::wstring> ProfileNames() {
    return {std::begin(optimizer::profiles::kNames), std::end(optimizer::profiles::kNames)};
}

std::vector<std::wstring> ActionNames() {
    return {std::begin(optimizer::kActionNames), std::end(optimizer::kActionNames)};
}

std::wstring ListChoices(const std::vector<std::wstring>& names) {
    std::wstring list;
    for (size_t i = 0; i < names.size(); ++i) {
        if (i > 0) list += i + 1 == names.size() ? L" or " : L", ";
        list += names[i];
    }
    return list;
}

}  // namespace ctl
