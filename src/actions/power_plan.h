#pragma once

#include <memory>

#include "actions/power_functions.h"
#include "actions/power_plan_params.h"

namespace optimizer {

/// Sets values of the active power scheme for one power source: all twelve on Windows Vista and later, four
/// of them in the legacy power policy on older systems. One thread at a time. Every failure is 31
/// (ERROR_GEN_FAILURE) and traces nothing of its own.
class CPowerPlan final : public IOptimizerAction {
public:
    explicit CPowerPlan(PowerPlanParams parameters);
    ~CPowerPlan() override;

    uint32_t Start() override;
    uint32_t Stop() override { return 0; }
    /// 31 before the first Start that found values to return to.
    uint32_t Revert() override;
    /// A change of the power source puts the old source's values back first.
    uint32_t Update(IOptimizerActionSettings* parameters) override;
    bool HasSameParameters(IOptimizerActionSettings* parameters) override;
    IOptimizerActionSettings* GetParameters() override { return &m_parameters; }
    IOptimizerActionSettings* GetRevertParameters() override { return m_revertParameters.get(); }
    /// 0, or 31 for a wrong argument.
    uint32_t SetRevertParameters(IOptimizerActionSettings* parameters) override;
    const wchar_t* GetName() override { return L"PowerPlanAction"; }

private:
    bool _ReadActiveScheme();
    bool _Snapshot();
    bool _SnapshotLegacy();
    bool _Apply(const PowerPlanParams& wanted);
    bool _ApplyLegacy(const PowerPlanParams& wanted);

    PowerFunctions m_functions;
    PowerPlanParams m_parameters;
    std::unique_ptr<PowerPlanParams> m_revertParameters;  // what was found before the first change
    LocalMemory m_activeScheme;                           // its GUID
    UINT m_legacySchemeIndex = 0;
    POWER_POLICY m_legacyPolicy = {};
    bool m_revertReady = false;
    bool m_legacy;  // older than Windows Vista
    bool m_bound;   // always on a legacy system
};

}  // namespace optimizer
