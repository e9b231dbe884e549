#include "actions/visual_fx_params.h"

#include <utility>

#include "actions/visual_effects.h"
#include "frame/json.h"
#include "frame/trace.h"

namespace optimizer {

void VisualEffectValues::ToJson(picojson::value* out) const {
    picojson::array array;
    for (const auto& [key, value] : effects) {
        picojson::object object;
        object["name"] = picojson::value(key);
        object["action"] = picojson::value(static_cast<double>(value));
        array.emplace_back(std::move(object));
    }
    *out = picojson::value(std::move(array));
}

void VisualEffectValues::FromJson(const picojson::value* in) {
    if (!in->is<picojson::array>()) return;
    effects.clear();
    for (const picojson::value& element : in->get<picojson::array>()) {
        if (!element.is<picojson::object>()) return;
        const auto key = json::ToText(json::Find(element, "name"));
        const auto value = json::ToInt32(json::Find(element, "action"));
        if (key && value && FindVisualEffect(*key) != nullptr) effects[*key] = *value;
    }
}

std::string VisualEffectValues::ToText() const {
    picojson::value value;
    ToJson(&value);
    return value.serialize();
}

void VisualEffectValues::FromText(const std::string& text) {
    TRACE_SCOPE("VisualEffectValues::FromText");
    if (text.empty()) return;  // what a command without a report is answered with
    picojson::value value;
    std::string error;
    if (!json::Parse(text, value, error)) TRACE_LINE(trace::kWarning, L"%S", error.c_str());
    FromJson(&value);
}

}  // namespace optimizer
