#include "actions/windows_services_params.h"

#include <algorithm>
#include <cwchar>
#include <utility>

#include "actions/json_texts.h"
#include "frame/text.h"
#include "frame/trace.h"

namespace optimizer {

namespace {

// In the order of the values; the last one stands for what isn't known.
constexpr const char* kStatusTexts[] = {"RUNNING", "STOPPED", "PAUSED", "NA"};
constexpr const char* kStartupTexts[] = {"AUTOMATIC", "MANUAL", "DISABLED", "NA"};

}  // namespace

bool IsSameName(const std::wstring& left, const std::wstring& right) {
    return _wcsicmp(left.c_str(), right.c_str()) == 0;
}

void WindowsServicesParams::ToJson(picojson::value* out) const {
    picojson::array array;
    for (const ServiceRecord& record : services) {
        picojson::object object;
        object["name"] = picojson::value(Narrow(record.name));
        object["status"] = ToJsonText(kStatusTexts, record.status);
        object["startup"] = ToJsonText(kStartupTexts, record.startup);
        array.emplace_back(std::move(object));
    }
    *out = picojson::value(std::move(array));
}

void WindowsServicesParams::FromJson(const picojson::value* in) {
    TRACE_SCOPE("WindowsServicesParams::FromJson");
    if (!in->is<picojson::array>()) return;
    services.clear();
    for (const picojson::value& element : in->get<picojson::array>()) {
        const std::string name = json::ToText(json::Find(element, "name")).value_or("");
        if (name.empty()) {
            TRACE_LINE(trace::kWarning, L"service without a name: %S", element.serialize().c_str());
            continue;
        }
        services.push_back(
            {.name = Widen(name),
             .status = FromJsonText<ServiceStatus>(kStatusTexts, json::Find(element, "status")),
             .startup = FromJsonText<ServiceStartup>(kStartupTexts, json::Find(element, "startup"))});
    }
}

const ServiceRecord* WindowsServicesParams::Find(const std::wstring& name) const {
    const auto found = std::find_if(services.begin(), services.end(), [&](const ServiceRecord& record) {
        return IsSameName(record.name, name);
    });
    return found != services.end() ? &*found : nullptr;
}

}  // namespace optimizer
