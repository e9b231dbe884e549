#pragma once

#include <cstdint>
#include <string>

namespace optimizer {

/// One visual effect of the user's desktop: its key in the settings, and the actions of
/// SystemParametersInfoW that read and write it.
struct VisualEffect {
    const char* key;
    uint32_t get;
    uint32_t set;
};

/// Null for a key that isn't known.
const VisualEffect* FindVisualEffect(const std::string& key);

}  // namespace optimizer
