#pragma once

#include <string>

#include "actions/optimizer_action.h"

namespace optimizer {

/// Values of the active power scheme for one power source. In JSON each field stands under its own name with
/// a capital letter.
struct PowerPlanParams final : IOptimizerActionSettings {
    /// A value that is never written to the system.
    static constexpr uint32_t kLeftAlone = 0xFFFFFFFF;

    void ToJson(picojson::value* out) const override;
    void FromJson(const picojson::value* in) override;
    bool operator==(const PowerPlanParams& other) const;

    /// Exactly 1 is the battery, every other number the cable.
    bool IsOnBattery() const { return onBattery == 1; }

    uint32_t onBattery = 0;
    uint32_t dimTime = kLeftAlone;          // seconds
    uint32_t dimValue = kLeftAlone;         // per cent
    uint32_t displayOffTime = kLeftAlone;   // seconds
    uint32_t adaptive = kLeftAlone;         // 0 or 1
    uint32_t brightnessLevel = kLeftAlone;  // per cent
    uint32_t sleepTime = kLeftAlone;        // seconds
    uint32_t rtcWake = kLeftAlone;          // 0 or 1
    uint32_t batteryLevel = kLeftAlone;     // per cent
    uint32_t lowBatteryAction = kLeftAlone;
    uint32_t coolingPolicy = kLeftAlone;      // 0 passive, 1 active
    uint32_t processorMaxState = kLeftAlone;  // per cent
    uint32_t usbSelectiveState = kLeftAlone;  // 0 or 1
    std::string scheme;  // of a note: the GUID of the plan that it is of; no part of what is wanted
};

}  // namespace optimizer
