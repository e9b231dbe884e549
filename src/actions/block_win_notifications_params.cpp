#include "actions/block_win_notifications_params.h"

#include <algorithm>
#include <iterator>

#include "frame/json.h"

namespace optimizer {

namespace {

constexpr const char* kKey = "BlockStatus";
constexpr const char* kTexts[] = {"not_configured", "enabled", "disabled"};  // by value

}  // namespace

void BlockWinNotificationsParams::ToJson(picojson::value* out) const {
    const auto value = static_cast<size_t>(blockStatus);
    picojson::object object;
    object[kKey] = picojson::value(kTexts[value < std::size(kTexts) ? value : 0]);
    *out = picojson::value(object);
}

void BlockWinNotificationsParams::FromJson(const picojson::value* in) {
    const auto text = json::ToText(json::Find(*in, kKey));
    if (!text) return;
    const auto* const found = std::find(std::begin(kTexts), std::end(kTexts), *text);
    blockStatus = found != std::end(kTexts) ? static_cast<BlockStatus>(found - std::begin(kTexts))
                                            : BlockStatus::NotConfigured;
}

}  // namespace optimizer
