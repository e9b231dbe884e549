#pragma once

#include <deque>
#include <string>
#include <utility>

namespace optimizer {

/// What identifies an application: its image name and the product name in its version resource.
using SnapshotKey = std::pair<std::wstring, std::wstring>;

/// By name first and product second, each by code unit and then by length. A pair of references is looked up
/// without a copy of its texts.
struct SnapshotKeyLess {
    using is_transparent = void;  // NOLINT(readability-identifier-naming): the library's name

    template <class Left, class Right>
    bool operator()(const Left& left, const Right& right) const {
        const int order = left.first.compare(right.first);
        return order != 0 ? order < 0 : left.second.compare(right.second) < 0;
    }
};

using SnapshotKeys = std::deque<SnapshotKey>;

}  // namespace optimizer
