#include "actions/hibernate_action.h"

#include <utility>

#include "actions/vista_hibernate.h"
#include "actions/xp_hibernate.h"
#include "frame/errors.h"
#include "frame/trace.h"
#include "frame/version.h"

namespace optimizer {

CHibernateAction::CHibernateAction(const wchar_t* name, bool onBattery, HibernateParams parameters)
    : ActionWith(std::move(parameters)), m_name(name), m_onBattery(onBattery) {}

CHibernateAction::~CHibernateAction() {
    if (m_hibernate != nullptr) m_hibernate->Uninit();
}

uint32_t CHibernateAction::_MakeHibernate() {
    TRACE_SCOPE("CHibernateAction::_MakeHibernate");
    SYSTEM_POWER_CAPABILITIES capabilities = {};
    if (!GetPwrCapabilities(&capabilities)) {
        const DWORD error = GetLastError();
        TRACE_LINE(trace::kError, L"GetPwrCapabilities error 0x%x", error);
        return kErrorNotCapable;
    }
    if (!capabilities.SystemS4) return kErrorNotCapable;

    std::unique_ptr<IHibernate> hibernate;
    if (IsWindows6OrLater(kVistaMinor)) {
        hibernate = std::make_unique<CVistaHibernate>();
    } else {
        hibernate = std::make_unique<CXPHibernate>();
    }
    if (!hibernate->Init()) return ERROR_GEN_FAILURE;
    m_hibernate = std::move(hibernate);
    return 0;
}

uint32_t CHibernateAction::Start() {
    TRACE_SCOPE("CHibernateAction::Start");
    if (m_hibernate == nullptr) {
        const uint32_t error = _MakeHibernate();
        if (error != 0) return error;
    }
    if (m_revertParameters == nullptr) {
        m_revertParameters = std::make_unique<HibernateParams>();
        if (!m_hibernate->Get(m_onBattery, &m_revertParameters->active, &m_revertParameters->time)) {
            // The change goes on; there will be nothing to return to.
            TRACE_LINE(trace::kWarning, L"IHibernate::Get failed");
            m_revertParameters.reset();
        }
    }
    if (!m_hibernate->Set(m_onBattery, m_parameters.active, m_parameters.time)) {
        TRACE_LINE(trace::kError, L"IHibernate::Set failed");
        return ERROR_GEN_FAILURE;
    }
    return 0;
}

uint32_t CHibernateAction::Revert() {
    TRACE_SCOPE("CHibernateAction::Revert");
    if (m_revertParameters == nullptr || m_hibernate == nullptr) return 0;

    // Callers rely on this as it stands: a revert that worked is traced as a failure and gives 1, one that
    // failed is silent and gives 0.
    const HibernateParams& old = *m_revertParameters;
    const uint32_t result = m_hibernate->Set(m_onBattery, old.active, old.time) ? 1 : 0;
    if (result == 0) return 0;
    TRACE_LINE(trace::kError, L"IHibernate::Set(%s, %s, %d) failed 0x%x", m_onBattery ? L"true" : L"false",
               old.active ? L"true" : L"false", old.time, result);
    return result;
}

uint32_t CHibernateAction::Update(IOptimizerActionSettings* parameters) {
    TRACE_SCOPE("CHibernateAction::Update");
    const auto* const wanted = dynamic_cast<const HibernateParams*>(parameters);
    if (wanted == nullptr || *wanted == m_parameters) return 0;
    m_parameters = *wanted;
    return Start();
}

}  // namespace optimizer
