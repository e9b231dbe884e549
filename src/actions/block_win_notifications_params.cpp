#include "actions/block_win_notifications_params.h"

#include "actions/json_texts.h"

namespace optimizer {

namespace {

constexpr const char* kKey = "BlockStatus";
constexpr const char* kTexts[] = {"not_configured", "enabled", "disabled"};  // by value
constexpr size_t kUnknown = 0;                                               // also for what isn't known

}  // namespace

void BlockWinNotificationsParams::ToJson(picojson::value* out) const {
    picojson::object object;
    object[kKey] = ToJsonText(kTexts, blockStatus, kUnknown);
    *out = picojson::value(object);
}

void BlockWinNotificationsParams::FromJson(const picojson::value* in) {
    const picojson::value* const text = json::Find(*in, kKey);
    if (json::ToText(text)) blockStatus = FromJsonText<BlockStatus>(kTexts, text, kUnknown);
}

}  // namespace optimizer
