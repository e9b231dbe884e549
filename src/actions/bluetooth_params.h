#pragma once

#include "actions/optimizer_action.h"

namespace optimizer {

enum class BluetoothStatus : uint32_t {
    Off = 0,
    On = 1,
    None = 2,  // left alone, or not known
};

/// Whether the Bluetooth adapters are on. In JSON "OFF", "ON" or "NA".
struct BluetoothParams final : IOptimizerActionSettings {
    void ToJson(picojson::value* out) const override;
    void FromJson(const picojson::value* in) override;
    bool operator==(const BluetoothParams& other) const { return status == other.status; }

    BluetoothStatus status = BluetoothStatus::None;
};

}  // namespace optimizer
