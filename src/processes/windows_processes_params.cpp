#include "processes/windows_processes_params.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "frame/json.h"
#include "frame/text.h"

namespace optimizer {

namespace {

// In the order of the values.
constexpr const char* kPriorityTexts[] = {"IDLE", "BELOW_NORMAL", "NORMAL", "ABOVE_NORMAL", "HIGH"};

}  // namespace

void WindowsProcessesParams::ToJson(picojson::value* out) const {
    picojson::array array;
    for (const ProcessRecord& record : processes) {
        picojson::object object;
        object["name"] = picojson::value(Narrow(record.name));
        object["product"] = picojson::value(Narrow(record.product));
        object["priority"] = picojson::value(kPriorityTexts[static_cast<size_t>(record.priority)]);
        array.emplace_back(std::move(object));
    }
    *out = picojson::value(std::move(array));
}

void WindowsProcessesParams::FromJson(const picojson::value* in) {
    if (!in->is<picojson::array>()) return;
    processes.clear();
    for (const picojson::value& element : in->get<picojson::array>()) {
        const auto name = json::ToText(json::Find(element, "name"));
        const auto* const priority = json::Find(element, "priority");
        if (!name || priority == nullptr) continue;
        ProcessRecord record;
        record.name = Widen(*name);
        record.product = Widen(json::ToText(json::Find(element, "product")).value_or(""));
        const auto* const text = std::find(std::begin(kPriorityTexts), std::end(kPriorityTexts),
                                           json::ToText(priority).value_or(""));
        if (text != std::end(kPriorityTexts)) {
            record.priority = static_cast<ProcessPriority>(text - std::begin(kPriorityTexts));
        }
        processes.push_back(std::move(record));
    }
}

}  // namespace optimizer
