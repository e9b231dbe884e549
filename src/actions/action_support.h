// What the actions share in handling their parameters.
#pragma once

#include <cstdint>
#include <memory>

#include "actions/optimizer_action.h"

namespace optimizer {

/// Whether `other` is of the same type and tells the same.
template <class Params>
bool HasSameValues(const Params& own, const IOptimizerActionSettings* other) {
    const auto* const typed = dynamic_cast<const Params*>(other);
    return typed != nullptr && *typed == own;
}

/// Copies what an earlier run saved into the record, which is made when there is none yet. 87 for a null or
/// wrong argument.
template <class Params>
[[nodiscard]] uint32_t CopyRevertParameters(std::unique_ptr<Params>& record,
                                            const IOptimizerActionSettings* saved) {
    constexpr uint32_t kInvalidParameter = 87;  // ERROR_INVALID_PARAMETER
    const auto* const typed = dynamic_cast<const Params*>(saved);
    if (typed == nullptr) return kInvalidParameter;
    if (record == nullptr) record = std::make_unique<Params>();
    *record = *typed;
    return 0;
}

}  // namespace optimizer
