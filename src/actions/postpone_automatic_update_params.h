#pragma once

#include "actions/optimizer_action.h"

namespace optimizer {

/// What Automatic Updates does by itself.
struct PostponeAutomaticUpdateParams final : IOptimizerActionSettings {
    void ToJson(picojson::value* out) const override;
    void FromJson(const picojson::value* in) override;
    bool operator==(const PostponeAutomaticUpdateParams& other) const {
        return notificationLevel == other.notificationLevel && recommendedUpdates == other.recommendedUpdates;
    }

    int32_t notificationLevel = 4;  // an AutomaticUpdatesNotificationLevel: aunlScheduledInstallation
    bool recommendedUpdates = true;
};

}  // namespace optimizer
