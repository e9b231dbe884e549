#pragma once

#include "actions/optimizer_action.h"

namespace optimizer {

/// The policy on notifications that pop up.
enum class BlockStatus : int32_t {
    NotConfigured = 0,  // there is no policy
    Enabled = 1,        // they are blocked
    Disabled = 2,       // they are allowed
};

struct BlockWinNotificationsParams final : IOptimizerActionSettings {
    void ToJson(picojson::value* out) const override;
    /// An unknown text reads as "not_configured".
    void FromJson(const picojson::value* in) override;
    bool operator==(const BlockWinNotificationsParams& other) const {
        return blockStatus == other.blockStatus;
    }

    BlockStatus blockStatus = BlockStatus::NotConfigured;
};

}  // namespace optimizer
