#include "settings/profile_names.h"

#include "frame/text.h"

namespace optimizer {

std::string ProfileName(profiles::profile profile) {
    const auto value = static_cast<uint32_t>(profile);
    return value < profiles::kCount ? Narrow(profiles::kNames[value]) : "";
}

profiles::profile ProfileFromName(const std::string& name) {
    for (uint32_t value = 0; value < profiles::kCount; ++value) {
        if (name == Narrow(profiles::kNames[value])) return static_cast<profiles::profile>(value);
    }
    return profiles::profile::Disabled;
}

}  // namespace optimizer
