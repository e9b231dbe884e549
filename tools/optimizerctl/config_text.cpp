#include "tools/optimizerctl/config_text.h"

#include "frame/json.h"
#include "frame/text.h"
#include "tools/optimizerctl/failure.h"
#include "tools/optimizerctl/names.h"

namespace ctl {

namespace {

using optimizer::Widen;

constexpr const char* kActiveKey = "active";
constexpr const wchar_t* kShape = L"write for example {\"WindowsServices\":{\"active\":false}}.";

/// What is wrong with one member; empty when nothing is.
std::wstring MistakeOf(const std::string& action, const picojson::value& value) {
    const std::wstring name = L"\"" + Widen(action) + L"\"";
    if (!IsActionName(Widen(action)))
        return L"There is no action " + name + L"; choose " + ListChoices(ActionNames()) + L".";
    if (!value.is<picojson::object>()) return L"The action " + name + L" is not an object; " + kShape;
    const picojson::value* const active = optimizer::json::Find(value, kActiveKey);
    if (active == nullptr) return L"The action " + name + L" has no \"active\"; " + kShape;
    if (!active->is<bool>()) return L"The \"active\" of " + name + L" is neither true nor false.";
    return L"";
}

}  // namespace

picojson::object ParseConfig(const std::string& text) {
    picojson::value config;
    std::string error;
    // As deep as the engine takes it, which stores it under the profile's name.
    if (!optimizer::json::Parse(text, config, error, 1))
        throw WrongUse(L"The config is not JSON (" + Widen(error) + L"); " + kShape);
    if (!config.is<picojson::object>())
        throw WrongUse(std::wstring(L"The config is not a JSON object; ") + kShape);
    std::wstring mistakes;
    for (const auto& [action, value] : config.get<picojson::object>()) {
        const std::wstring mistake = MistakeOf(action, value);
        if (!mistake.empty()) mistakes += (mistakes.empty() ? L"" : L"\n") + mistake;
    }
    if (!mistakes.empty()) throw WrongUse(mistakes);
    return config.get<picojson::object>();
}

picojson::object WithAction(picojson::object config, const std::string& action, bool active) {
    picojson::value& member = config[action];
    if (!member.is<picojson::object>()) member = picojson::value(picojson::object());
    member.get<picojson::object>()[kActiveKey] = picojson::value(active);
    return config;
}

}  // namespace ctl
