#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "actions/optimizer_action.h"

namespace optimizer {

/// Visual effects by key, each with a value of SystemParametersInfoW. In JSON an array of objects with "name"
/// and "action".
struct VisualEffectValues : IOptimizerActionSettings {
    void ToJson(picojson::value* out) const override;
    /// Stops at the first element that isn't an object; leaves out elements that lack a key or name an
    /// unknown effect. Anything but an array changes nothing.
    void FromJson(const picojson::value* in) override;
    bool operator==(const VisualEffectValues& other) const { return effects == other.effects; }

    /// The same as one text.
    std::string ToText() const;
    /// Takes what could be read of a text that is broken.
    void FromText(const std::string& text);

    std::map<std::string, int32_t> effects;
};

/// What a profile wants, and what the agent found before.
struct VisualFXParams final : VisualEffectValues {};

/// The agent's copy of them.
struct VisualFXAgentParams final : VisualEffectValues {};

}  // namespace optimizer
