#include "actions/windows_services_params.h"

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <utility>

#include "frame/json.h"
#include "frame/text.h"
#include "frame/trace.h"

namespace optimizer {

namespace {

// In the order of the values; the last one stands for what isn't known.
constexpr const char* kStatusTexts[] = {"RUNNING", "STOPPED", "PAUSED", "NA"};
constexpr const char* kStartupTexts[] = {"AUTOMATIC", "MANUAL", "DISABLED", "NA"};

picojson::value ToText(const char* const (&texts)[4], int value) {
    return picojson::value(texts[std::clamp(value, 0, 3)]);
}

template <class Value>
Value FromText(const char* const (&texts)[4], const picojson::value* text) {
    const auto* const found =
        std::find(std::begin(texts), std::end(texts), json::ToText(text).value_or("NA"));
    return static_cast<Value>(std::min<std::ptrdiff_t>(found - std::begin(texts), 3));
}

template <class Services>
auto FindIn(Services& services, const std::wstring& name) {
    const auto found = std::find_if(services.begin(), services.end(), [&](const ServiceRecord& record) {
        return _wcsicmp(record.name.c_str(), name.c_str()) == 0;
    });
    return found != services.end() ? &*found : nullptr;
}

}  // namespace

void WindowsServicesParams::ToJson(picojson::value* out) const {
    picojson::array array;
    for (const ServiceRecord& record : services) {
        picojson::object object;
        object["name"] = picojson::value(Narrow(record.name));
        object["status"] = ToText(kStatusTexts, static_cast<int>(record.status));
        object["startup"] = ToText(kStartupTexts, static_cast<int>(record.startup));
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
             .status = FromText<ServiceStatus>(kStatusTexts, json::Find(element, "status")),
             .startup = FromText<ServiceStartup>(kStartupTexts, json::Find(element, "startup"))});
    }
}

ServiceRecord* WindowsServicesParams::Find(const std::wstring& name) {
    return FindIn(services, name);
}

const ServiceRecord* WindowsServicesParams::Find(const std::wstring& name) const {
    return FindIn(services, name);
}

void WindowsServicesParams::Remove(const std::wstring& name) {
    std::erase_if(services, [&](const ServiceRecord& record) {
        return _wcsicmp(record.name.c_str(), name.c_str()) == 0;
    });
}

}  // namespace optimizer
