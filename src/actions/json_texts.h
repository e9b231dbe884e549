// Values that stand as texts in the parameters of actions.
#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "frame/json.h"

namespace optimizer {

/// The texts stand in the order of the values. One of them, the last unless another is named, is written for
/// every value beyond, and read for every text that isn't known.
template <class Value, size_t kCount>
picojson::value ToJsonText(const char* const (&texts)[kCount], Value value, size_t fallback = kCount - 1) {
    const auto index = static_cast<size_t>(value);
    return picojson::value(texts[index < kCount ? index : fallback]);
}

template <class Value, size_t kCount>
Value FromJsonText(const char* const (&texts)[kCount], const picojson::value* text,
                   size_t fallback = kCount - 1) {
    const auto* const found = std::find(std::begin(texts), std::end(texts), json::ToText(text).value_or(""));
    const auto index = static_cast<size_t>(found - std::begin(texts));
    return static_cast<Value>(index < kCount ? index : fallback);
}

}  // namespace optimizer
