#pragma once

#include <memory>
#include <string>

#include "actions/action_with.h"
#include "actions/hibernate.h"
#include "actions/hibernate_params.h"

namespace optimizer {

/// Sets when the machine hibernates by itself on one power source. Two of them live in a profile,
/// "HibernateOnBattery" and "HibernateOnCable", each with its own values. One thread at a time.
class CHibernateAction final : public ActionWith<HibernateParams> {
public:
    CHibernateAction(const wchar_t* name, bool onBattery, HibernateParams parameters);
    ~CHibernateAction() override;

    /// As Start, without the change.
    uint32_t Note(IOptimizerActionSettings* next) override;
    /// 0; 775 (ERROR_NOT_CAPABLE) on a machine that can't hibernate; 31 (ERROR_GEN_FAILURE).
    uint32_t Start() override;
    /// 1 when the old values were put back, 0 otherwise.
    uint32_t Revert() override;
    /// 0 or 31.
    uint32_t FinishRevert() override { return m_isBack ? 0 : kNotBack; }
    uint32_t PutBack() override;
    /// Does nothing with parameters of another type.
    uint32_t Update(IOptimizerActionSettings* parameters) override;
    uint32_t SetRevertParameters(IOptimizerActionSettings* saved) override;
    const wchar_t* GetName() override { return m_name.c_str(); }

private:
    static constexpr uint32_t kNotBack = 31;  // ERROR_GEN_FAILURE

    uint32_t _MakeHibernate();
    uint32_t _MakeForWayBack();
    void _Snapshot();

    std::wstring m_name;
    bool m_onBattery;
    bool m_isBack = true;                     // after the last Revert
    bool m_isHandedOver = false;              // an earlier run has changed what the values are of
    std::unique_ptr<IHibernate> m_hibernate;  // null until the first Start that got through
};

}  // namespace optimizer
