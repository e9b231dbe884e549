#include "actions/postpone_automatic_update_params.h"

#include "frame/json.h"

namespace optimizer {

namespace {

constexpr const char* kLevelKey = "AutomaticUpdateLevel";
constexpr const char* kRecommendedKey = "RecommendedUpdates";  // a number, for all that it says yes or no

}  // namespace

void PostponeAutomaticUpdateParams::ToJson(picojson::value* out) const {
    picojson::object object;
    object[kLevelKey] = picojson::value(static_cast<double>(notificationLevel));
    object[kRecommendedKey] = picojson::value(recommendedUpdates ? 1.0 : 0.0);
    *out = picojson::value(object);
}

void PostponeAutomaticUpdateParams::FromJson(const picojson::value* in) {
    notificationLevel = json::ToInt32(json::Find(*in, kLevelKey)).value_or(notificationLevel);
    const auto recommended = json::ToDouble(json::Find(*in, kRecommendedKey));
    if (recommended) recommendedUpdates = *recommended != 0.0;  // also for a fraction
}

}  // namespace optimizer
