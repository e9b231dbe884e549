// Values that stand as texts in the parameters of actions.
#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "frame/json.h"

namespace optimizer {

/// The texts stand in the order of the values. The last one is written for every value beyond, and read for
/// every text that isn't known.
template <class Value, size_t kCount>
picojson::value ToJsonText(const char* const (&texts)[kCount], Value value) {
    const auto index = static_cast<ptrdiff_t>(value);
    constexpr ptrdiff_t kLast = kCount - 1;
    return picojson::value(texts[index >= 0 ? std::min(index, kLast) : kLast]);
}

template <class Value, size_t kCount>
Value FromJsonText(const char* const (&texts)[kCount], const picojson::value* text) {
    constexpr ptrdiff_t kLast = kCount - 1;
    const auto* const found = std::find(std::begin(texts), std::end(texts), json::ToText(text).value_or(""));
    return static_cast<Value>(std::min(found - std::begin(texts), kLast));
}

}  // namespace optimizer
