#pragma once

#include "actions/action_with.h"
#include "actions/power_functions.h"
#include "actions/power_plan_params.h"

namespace optimizer {

/// Sets values of the active power scheme for one power source: all twelve on Windows Vista and later, four
/// of them in the legacy power policy on older systems. One thread at a time. Every failure is 31
/// (ERROR_GEN_FAILURE) and traces nothing of its own.
class CPowerPlan final : public ActionWith<PowerPlanParams> {
public:
    explicit CPowerPlan(PowerPlanParams parameters);
    ~CPowerPlan() override;

    uint32_t Note(IOptimizerActionSettings* next) override;
    uint32_t Start() override;
    /// 31 before the first Start that found values to return to.
    uint32_t Revert() override;
    uint32_t FinishRevert() override;
    uint32_t PutBack() override;
    /// A change of the power source puts the old source's values back first.
    uint32_t Update(IOptimizerActionSettings* parameters) override;
    const wchar_t* GetName() override { return L"PowerPlanAction"; }
    /// The values are those of one power source, so that the other one's would never be noted.
    bool CanReturnTo(const IOptimizerActionSettings* saved) const override;
    bool CanUpdateTo(const IOptimizerActionSettings* next) const override;

private:
    bool _ReadActiveScheme();
    bool _PrepareRevert();
    bool _ReadLegacyPolicy();
    bool _Snapshot();
    bool _SnapshotLegacy();
    const GUID* _Scheme();
    bool _Apply(const PowerPlanParams& wanted);
    bool _ApplyLegacy(const PowerPlanParams& wanted);
    bool _IsBack();

    PowerFunctions m_functions;
    LocalMemory m_activeScheme;  // its GUID
    UINT m_legacySchemeIndex = 0;
    POWER_POLICY m_legacyPolicy = {};
    bool m_hasLegacyPolicy = false;  // it was read
    bool m_revertReady = false;
    bool m_reverted = true;   // what the last Revert of a legacy system said
    GUID m_notedScheme = {};  // of the note, when it names one
    bool m_legacy;            // older than Windows Vista
    bool m_bound;             // always on a legacy system
};

}  // namespace optimizer
