#pragma once

#include <string>

#include "actions/optimizer_action.h"

namespace optimizer {

/// Whether the machine hibernates by itself on one power source, and after how long.
struct HibernateParams final : IOptimizerActionSettings {
    void ToJson(picojson::value* out) const override;
    void FromJson(const picojson::value* in) override;
    bool operator==(const HibernateParams& other) const {
        return active == other.active && time == other.time;
    }

    bool active = false;
    uint32_t time = 3600;  // seconds
    std::string scheme;    // of a note: the GUID of the plan that it is of; no part of what is wanted
};

}  // namespace optimizer
