// What the actions share in handling their values.
#pragma once

#include <memory>
#include <utility>

#include "actions/optimizer_action.h"
#include "frame/trace.h"

namespace optimizer {

inline constexpr uint32_t kInvalidParameter = 87;  // ERROR_INVALID_PARAMETER

/// An action that works towards values of one type and notes what it found in a record of the same type.
template <class Params>
class ActionWith : public IOptimizerAction {
public:
    uint32_t Stop() override { return 0; }
    bool HasSameParameters(IOptimizerActionSettings* parameters) override {
        const auto* const typed = dynamic_cast<const Params*>(parameters);
        return typed != nullptr && *typed == m_parameters;
    }
    IOptimizerActionSettings* GetParameters() override { return &m_parameters; }
    IOptimizerActionSettings* GetRevertParameters() override { return m_revertParameters.get(); }
    /// Starts towards the parameters, which are also what there is to return to: an action that keeps within
    /// the values it found must not take those that a profile left behind for them.
    uint32_t PutBack() override {
        const uint32_t error = SetRevertParameters(&m_parameters);
        return error == 0 ? Start() : error;
    }
    uint32_t SetRevertParameters(IOptimizerActionSettings* saved) override {
        TRACE_MARKED_SCOPE("ActionWith::SetRevertParameters", GetName());
        const auto* const typed = dynamic_cast<const Params*>(saved);
        if (typed == nullptr) return m_refusal;
        if (m_revertParameters == nullptr) m_revertParameters = std::make_unique<Params>();
        *m_revertParameters = *typed;
        return 0;
    }

protected:
    /// `refusal` is what SetRevertParameters gives for a null or wrong argument.
    explicit ActionWith(Params parameters, uint32_t refusal = kInvalidParameter)
        : m_parameters(std::move(parameters)), m_refusal(refusal) {}

    Params m_parameters;
    std::unique_ptr<Params> m_revertParameters;  // what was found before the first change

private:
    const uint32_t m_refusal;
};

/// An action that has nothing to set and nothing to note.
class ActionWithoutValues : public IOptimizerAction {
public:
    uint32_t Note(IOptimizerActionSettings*) override { return 0; }
    uint32_t FinishRevert() override { return 0; }
    uint32_t Stop() override { return 0; }
    uint32_t Update(IOptimizerActionSettings*) override { return 0; }
    bool HasSameParameters(IOptimizerActionSettings*) override { return true; }
    IOptimizerActionSettings* GetParameters() override { return nullptr; }
    IOptimizerActionSettings* GetRevertParameters() override { return nullptr; }
    uint32_t SetRevertParameters(IOptimizerActionSettings*) override { return 0; }
};

}  // namespace optimizer
