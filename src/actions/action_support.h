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

inline constexpr uint32_t kInvalidParameter = 87;  // ERROR_INVALID_PARAMETER

/// Copies what an earlier run saved into the record, which is made when there is none yet. A null or wrong
/// argument changes nothing and gives `refusal`.
template <class Params>
[[nodiscard]] uint32_t CopyRevertParameters(std::unique_ptr<Params>& record,
                                            const IOptimizerActionSettings* saved,
                                            uint32_t refusal = kInvalidParameter) {
    const auto* const typed = dynamic_cast<const Params*>(saved);
    if (typed == nullptr) return refusal;
    if (record == nullptr) record = std::make_unique<Params>();
    *record = *typed;
    return 0;
}

}  // namespace optimizer
