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
    return _MakeForWayBack();
}

/// Also on a machine that can't hibernate any more: what is stored in a plan can be put back all the same.
uint32_t CHibernateAction::_MakeForWayBack() {
    TRACE_SCOPE("CHibernateAction::_MakeForWayBack");
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

uint32_t CHibernateAction::Note(IOptimizerActionSettings*) {
    TRACE_SCOPE("CHibernateAction::Note");
    if (m_revertParameters != nullptr && !m_revertParameters->scheme.empty()) return 0;
    // Anew: an object of before would read the plan that was active then.
    if (m_hibernate != nullptr) m_hibernate->Uninit();
    m_hibernate.reset();
    const uint32_t error = _MakeHibernate();
    if (error != 0) return error;
    if (m_revertParameters == nullptr) {
        _Snapshot();
    } else {
        // A note of before there were plans in notes: from here on it is of the one that is active.
        m_revertParameters->scheme = m_hibernate->Scheme();
    }
    return m_revertParameters != nullptr ? uint32_t{ERROR_SUCCESS} : uint32_t{ERROR_GEN_FAILURE};
}

void CHibernateAction::_Snapshot() {
    TRACE_SCOPE("CHibernateAction::_Snapshot");
    m_revertParameters = std::make_unique<HibernateParams>();
    if (m_hibernate->Get(m_onBattery, &m_revertParameters->active, &m_revertParameters->time)) {
        m_revertParameters->scheme = m_hibernate->Scheme();
        return;
    }
    TRACE_LINE(trace::kWarning, L"IHibernate::Get failed");
    m_revertParameters.reset();
}

uint32_t CHibernateAction::Start() {
    TRACE_SCOPE("CHibernateAction::Start");
    if (m_hibernate == nullptr) {
        const uint32_t error = _MakeHibernate();
        if (error != 0) return error;
    }
    // Without a note the change goes on, with nothing to return to. It is the engine that doesn't let it come
    // to that.
    if (m_revertParameters == nullptr) _Snapshot();
    if (m_revertParameters != nullptr) m_hibernate->UseScheme(m_revertParameters->scheme);
    if (!m_hibernate->Set(m_onBattery, m_parameters.active, m_parameters.time)) {
        TRACE_LINE(trace::kError, L"IHibernate::Set failed");
        return ERROR_GEN_FAILURE;
    }
    return 0;
}

uint32_t CHibernateAction::Revert() {
    TRACE_SCOPE("CHibernateAction::Revert");
    m_isBack = m_revertParameters == nullptr;
    if (m_isHandedOver && m_hibernate == nullptr && _MakeForWayBack() == ERROR_SUCCESS) {
        m_hibernate->UseScheme(m_revertParameters->scheme);
    }
    if (m_revertParameters == nullptr || m_hibernate == nullptr) return 0;

    // Callers rely on this as it stands: a revert that worked is traced as a failure and gives 1, one that
    // failed is silent and gives 0.
    const HibernateParams& old = *m_revertParameters;
    const uint32_t result = m_hibernate->Set(m_onBattery, old.active, old.time) ? 1 : 0;
    // With its plan, what was changed there is gone.
    m_isBack = result == 1 || m_hibernate->IsSchemeGone(m_onBattery);
    if (result == 0) return 0;
    TRACE_LINE(trace::kError, L"IHibernate::Set(%s, %s, %d) failed 0x%x", m_onBattery ? L"true" : L"false",
               old.active ? L"true" : L"false", old.time, result);
    return result;
}

uint32_t CHibernateAction::SetRevertParameters(IOptimizerActionSettings* saved) {
    const uint32_t error = ActionWith::SetRevertParameters(saved);
    m_isHandedOver = m_isHandedOver || error == ERROR_SUCCESS;
    return error;
}

uint32_t CHibernateAction::PutBack() {
    TRACE_SCOPE("CHibernateAction::PutBack");
    if (m_hibernate == nullptr) {
        if (const uint32_t error = _MakeForWayBack(); error != ERROR_SUCCESS) return error;
    }
    const uint32_t error = ActionWith::PutBack();
    const bool isGone = error != 0 && m_hibernate != nullptr && m_hibernate->IsSchemeGone(m_onBattery);
    return isGone ? uint32_t{ERROR_SUCCESS} : error;
}

uint32_t CHibernateAction::Update(IOptimizerActionSettings* parameters) {
    TRACE_SCOPE("CHibernateAction::Update");
    const auto* const wanted = dynamic_cast<const HibernateParams*>(parameters);
    if (wanted == nullptr || *wanted == m_parameters) return 0;
    m_parameters = *wanted;
    return Start();
}

}  // namespace optimizer
