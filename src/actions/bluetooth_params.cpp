#include "actions/bluetooth_params.h"

#include "actions/json_texts.h"

namespace optimizer {

namespace {

constexpr const char* kStatusTexts[] = {"OFF", "ON", "NA"};

}  // namespace

void BluetoothParams::ToJson(picojson::value* out) const {
    picojson::object object;
    object["status"] = ToJsonText(kStatusTexts, status);
    *out = picojson::value(object);
}

void BluetoothParams::FromJson(const picojson::value* in) {
    status = FromJsonText<BluetoothStatus>(kStatusTexts, json::Find(*in, "status"));
}

}  // namespace optimizer
