#include "profile/action_lists.h"

#include <utility>

#include <windows.h>

#include "frame/json.h"
#include "frame/text.h"
#include "frame/trace.h"
#include "profile/action_factory.h"
#include "settings/iprofiles_settings.h"

namespace optimizer {

namespace {

constexpr const char* kPostponeWindowsUpdate = "PostponeWindowsUpdate";

void TraceNotActive() {
    TRACE_MARKED_SCOPE("OptimizerProfile::GetActionList", L"PostponeWindowsUpdate");
    TRACE_LINE(trace::kInformation, L"not active");
}

picojson::value ReadConfig(IProfilesSettings& settings, profiles::profile which) {
    TRACE_SCOPE("ActionLists::ReadConfig");
    std::wstring text;
    picojson::value config;
    std::string error;
    if (!settings.GetConfig(&which, text)) return config;
    if (!json::Parse(Narrow(text), config, error)) {
        TRACE_LINE(trace::kWarning, L"%S", error.c_str());
        return {};
    }
    return config;
}

}  // namespace

bool IsActionActive(const picojson::value& config, const std::string& name, profiles::profile wanted) {
    // Updates aren't postponed at work unless the user asks for it; that default is wanted.
    const bool byDefault = !(name == kPostponeWindowsUpdate && wanted == profiles::profile::Work);
    const picojson::value* const settings = json::Find(config, name);
    if (settings == nullptr) return byDefault;
    return json::ToBool(json::Find(*settings, "active")).value_or(byDefault);
}

uint32_t ActionLists::ReadShipped(IProfilesSettings& settings, profile which, ActionMap& actions) {
    TRACE_SCOPE("ActionLists::ReadShipped");
    std::wstring text;
    if (!settings.GetShippedActions(&which, text)) return ERROR_READ_FAULT;
    if (text.empty()) return ERROR_SUCCESS;
    picojson::value list;
    std::string error;
    if (!json::Parse(Narrow(text), list, error)) {
        TRACE_LINE(trace::kError, L"%S", error.c_str());
        return ERROR_INVALID_DATA;
    }
    if (!list.is<picojson::object>()) return ERROR_SUCCESS;
    const picojson::value config = ReadConfig(settings, which);
    for (const auto& [name, value] : list.get<picojson::object>()) {
        if (IsActionActive(config, name, which)) {
            _Add(Widen(name), value, actions);
        } else if (name == kPostponeWindowsUpdate) {
            TraceNotActive();
        }
    }
    return ERROR_SUCCESS;
}

void ActionLists::_Add(const std::wstring& name, const picojson::value& value, ActionMap& actions) {
    TRACE_SCOPE("ActionLists::_Add");
    if (ActionPointer action = Make(name, value)) {
        actions.emplace(name, std::move(action));
    } else {
        TRACE_LINE(trace::kWarning, L"no action for %s", name.c_str());
    }
}

ActionPointer ActionLists::Make(const std::wstring& name, const picojson::value& value) {
    TRACE_SCOPE("ActionLists::Make");
    ActionPointer action = m_factory(name, value.serialize(), m_main);
    if (!action && name == kProcessWideAction) return _ProcessWideAction(value);
    if (action) action->ObserveNote(m_observer);
    return action;
}

/// Its process watching has to survive a change of profile, so that the parameters count the first time only.
ActionPointer ActionLists::_ProcessWideAction(const picojson::value& value) {
    if (m_processWideAction == nullptr) {
        const picojson::value* const settings = json::Find(value, "settings");
        m_processWideAction =
            CreateProcessWideAction(settings != nullptr ? settings->serialize() : std::string(), m_main);
    }
    return ActionPointer(m_processWideAction.get());
}

}  // namespace optimizer
