#include "actions/power_plan_params.h"

#include <algorithm>
#include <iterator>

#include "frame/json.h"

namespace optimizer {

namespace {

constexpr const char* kSchemeKey = "Scheme";

struct Field {
    const char* key;
    uint32_t PowerPlanParams::*value;
};
constexpr Field kFields[] = {
    {"OnBattery", &PowerPlanParams::onBattery},
    {"DimTime", &PowerPlanParams::dimTime},
    {"DimValue", &PowerPlanParams::dimValue},
    {"DisplayOffTime", &PowerPlanParams::displayOffTime},
    {"Adaptive", &PowerPlanParams::adaptive},
    {"BrightnessLevel", &PowerPlanParams::brightnessLevel},
    {"SleepTime", &PowerPlanParams::sleepTime},
    {"RTCWake", &PowerPlanParams::rtcWake},
    {"BatteryLevel", &PowerPlanParams::batteryLevel},
    {"LowBatteryAction", &PowerPlanParams::lowBatteryAction},
    {"CoolingPolicy", &PowerPlanParams::coolingPolicy},
    {"ProcessorMaxState", &PowerPlanParams::processorMaxState},
    {"UsbSelectiveState", &PowerPlanParams::usbSelectiveState},
};

}  // namespace

void PowerPlanParams::ToJson(picojson::value* out) const {
    picojson::object object;
    for (const Field& field : kFields)
        object[field.key] = picojson::value(static_cast<double>(this->*field.value));
    if (!scheme.empty()) object[kSchemeKey] = picojson::value(scheme);
    *out = picojson::value(object);
}

void PowerPlanParams::FromJson(const picojson::value* in) {
    for (const Field& field : kFields) {
        uint32_t& value = this->*field.value;
        value = json::ToUint32(json::Find(*in, field.key)).value_or(value);
    }
    scheme = json::ToText(json::Find(*in, kSchemeKey)).value_or(scheme);
}

bool PowerPlanParams::operator==(const PowerPlanParams& other) const {
    return std::all_of(std::begin(kFields), std::end(kFields),
                       [&](const Field& field) { return this->*field.value == other.*field.value; });
}

}  // namespace optimizer
