#include "actions/postpone_windows_update.h"

#include <utility>

#include "actions/automatic_updates.h"
#include "frame/trace.h"
#include "frame/version.h"

namespace optimizer {

namespace {

uint32_t ToResult(HRESULT result) {
    return result == S_OK ? ERROR_SUCCESS : ERROR_GEN_FAILURE;
}

HRESULT QuerySettings2(const ComPointer<IAutomaticUpdatesSettings>& settings,
                       ComPointer<IAutomaticUpdatesSettings2>& out) {
    return settings.Get()->QueryInterface(IAutomaticUpdatesSettings2::kIdentifier,
                                          reinterpret_cast<void**>(out.Receive()));
}

/// Forgives a refusal of the recommended updates on older systems, which need not have that setting.
uint32_t RecommendedResult(const trace::LogScope& traceScope, uint32_t error, const wchar_t* failure) {
    if (error == ERROR_SUCCESS || !IsWindows6OrLater(kVistaMinor)) return ERROR_SUCCESS;
    TRACE_LINE(trace::kError, failure);
    return error;
}

}  // namespace

CPostponeWindowsUpdate::CPostponeWindowsUpdate(PostponeAutomaticUpdateParams parameters)
    : ActionWith(std::move(parameters), ERROR_SUCCESS) {}

CPostponeWindowsUpdate::~CPostponeWindowsUpdate() = default;

uint32_t CPostponeWindowsUpdate::Note(IOptimizerActionSettings*) {
    TRACE_SCOPE("CPostponeWindowsUpdate::Note");
    if (m_revertParameters != nullptr) return ERROR_SUCCESS;
    uint32_t result = _Connect();
    Params found;
    // The defaults that stand for what can't be read are nothing to return to.
    if (result == ERROR_SUCCESS && !_Snapshot(found)) result = ERROR_GEN_FAILURE;
    if (result == ERROR_SUCCESS) m_revertParameters = std::make_unique<Params>(found);
    _Disconnect();
    return result;
}

uint32_t CPostponeWindowsUpdate::Start() {
    TRACE_SCOPE("CPostponeWindowsUpdate::Start");
    uint32_t result = _Connect();
    if (result == ERROR_SUCCESS) {
        if (m_revertParameters == nullptr) {
            m_revertParameters = std::make_unique<Params>();
            static_cast<void>(_Snapshot(*m_revertParameters));
        }
        result = _Apply();
        m_isHalfway = m_isHalfway || result != ERROR_SUCCESS;
    }
    _Disconnect();
    return result;
}

uint32_t CPostponeWindowsUpdate::Revert() {
    TRACE_SCOPE("CPostponeWindowsUpdate::Revert");
    if (m_revertParameters != nullptr) static_cast<void>(_MoveTo(*m_revertParameters));
    return 0;
}

uint32_t CPostponeWindowsUpdate::FinishRevert() {
    TRACE_SCOPE("CPostponeWindowsUpdate::FinishRevert");
    if (m_revertParameters == nullptr) return 0;
    // What the profile didn't change isn't looked at: it may be the user's since.
    return m_isHalfway || !(m_parameters == *m_revertParameters) ? _LookAgain(*m_revertParameters) : 0;
}

uint32_t CPostponeWindowsUpdate::PutBack() {
    TRACE_SCOPE("CPostponeWindowsUpdate::PutBack");
    const uint32_t error = ActionWith::PutBack();
    return error == ERROR_SUCCESS ? _LookAgain(m_parameters) : error;
}

/// What a change that failed half-way set isn't among the parameters that the way back goes by, so that it is
/// looked at, and set without looking at them where it isn't as noted.
uint32_t CPostponeWindowsUpdate::_LookAgain(const Params& noted) {
    TRACE_SCOPE("CPostponeWindowsUpdate::_LookAgain");
    uint32_t result = _Connect();
    Params found;
    const auto isBack = [&] { return _Snapshot(found) && found == noted; };
    if (result == ERROR_SUCCESS && !isBack()) {
        m_parameters = noted;
        result = _Apply();
        if (result == ERROR_SUCCESS && !isBack()) result = ERROR_GEN_FAILURE;
    }
    _Disconnect();
    return result;
}

uint32_t CPostponeWindowsUpdate::Update(IOptimizerActionSettings* parameters) {
    TRACE_SCOPE("CPostponeWindowsUpdate::Update");
    const auto* const wanted = dynamic_cast<const Params*>(parameters);
    return wanted != nullptr ? _MoveTo(*wanted) : 0;
}

uint32_t CPostponeWindowsUpdate::_Connect() {
    TRACE_SCOPE("CPostponeWindowsUpdate::_Connect");
    m_apartment.emplace();
    if (!m_apartment->IsReady()) return ERROR_GEN_FAILURE;
    // The name only tells that the class is there; what is created is always the same class.
    CLSID named = {};
    if (CLSIDFromProgID(L"Microsoft.Update.AutoUpdate", &named) != S_OK) return ERROR_GEN_FAILURE;
    const HRESULT result =
        CoCreateInstance(__uuidof(AutomaticUpdates), nullptr, CLSCTX_ALL, __uuidof(IAutomaticUpdates),
                         reinterpret_cast<void**>(m_automaticUpdates.Receive()));
    return FAILED(result) ? ERROR_GEN_FAILURE : ERROR_SUCCESS;
}

void CPostponeWindowsUpdate::_Disconnect() {
    m_automaticUpdates.Reset();
    m_apartment.reset();
}

/// Whatever can't be read stays at its default, and the result is false then. Older systems need not have the
/// second setting.
bool CPostponeWindowsUpdate::_Snapshot(Params& found) {
    TRACE_SCOPE("CPostponeWindowsUpdate::_Snapshot");
    found = Params();
    ComPointer<IAutomaticUpdatesSettings> settings;
    if (FAILED(m_automaticUpdates.Get()->get_Settings(settings.Receive())) || !settings) return false;
    AutomaticUpdatesNotificationLevel level = aunlNotConfigured;
    if (FAILED(settings.Get()->get_NotificationLevel(&level))) return false;
    found.notificationLevel = level;

    const bool mayLack = !IsWindows6OrLater(kVistaMinor);
    ComPointer<IAutomaticUpdatesSettings2> settings2;
    if (FAILED(QuerySettings2(settings, settings2)) || !settings2) return mayLack;
    VARIANT_BOOL included = VARIANT_TRUE;
    const HRESULT result = settings2.Get()->get_IncludeRecommendedUpdates(&included);
    found.recommendedUpdates = static_cast<uint16_t>(included) > 65534;
    return SUCCEEDED(result) || mayLack;
}

uint32_t CPostponeWindowsUpdate::_Apply() {
    TRACE_SCOPE("CPostponeWindowsUpdate::_Apply");
    const uint32_t levelError = _SetAutomaticUpdatesNotificationLevel(m_parameters.notificationLevel);
    if (levelError != ERROR_SUCCESS) {
        TRACE_LINE(trace::kError, L"Unable to set automatic updates");
        return levelError;
    }
    return RecommendedResult(traceScope, _SetRecommendedUpdates(m_parameters.recommendedUpdates),
                             L"Unable to set recommended updates.");
}

bool CPostponeWindowsUpdate::_GetSettings(const wchar_t* purpose,
                                          ComPointer<IAutomaticUpdatesSettings>& settings) {
    TRACE_SCOPE("CPostponeWindowsUpdate::_GetSettings");
    if (FAILED(m_automaticUpdates.Get()->get_Settings(settings.Receive()))) return false;
    if (settings) return true;
    TRACE_LINE(trace::kError, L"%s - IAutomaticUpdatesSettings pointer is null!", purpose);
    return false;
}

uint32_t CPostponeWindowsUpdate::_SetAutomaticUpdatesNotificationLevel(int32_t level) {
    TRACE_SCOPE("CPostponeWindowsUpdate::_SetAutomaticUpdatesNotificationLevel");
    ComPointer<IAutomaticUpdatesSettings> settings;
    if (!_GetSettings(L"AutomaticUpdatesNotificationLevel", settings)) return ERROR_GEN_FAILURE;
    if (settings.Get()->put_NotificationLevel(static_cast<AutomaticUpdatesNotificationLevel>(level)) != S_OK)
        return ERROR_GEN_FAILURE;
    return ToResult(settings.Get()->Save());
}

uint32_t CPostponeWindowsUpdate::_SetRecommendedUpdates(bool recommended) {
    TRACE_SCOPE("CPostponeWindowsUpdate::_SetRecommendedUpdates");
    ComPointer<IAutomaticUpdatesSettings> settings;
    if (!_GetSettings(L"RecommendedUpdates", settings)) return ERROR_GEN_FAILURE;
    ComPointer<IAutomaticUpdatesSettings2> settings2;
    if (QuerySettings2(settings, settings2) != S_OK) {
        TRACE_LINE(trace::kWarning, L"Could not query IAutomaticUpdatesSettings2 interface.");
        return ERROR_GEN_FAILURE;
    }
    if (!settings2) {
        TRACE_LINE(trace::kWarning, L"RecommendedUpdates - IAutomaticUpdatesSettings2 pointer is null!");
        return ERROR_GEN_FAILURE;
    }
    const VARIANT_BOOL included = recommended ? VARIANT_TRUE : VARIANT_FALSE;
    if (settings2.Get()->put_IncludeRecommendedUpdates(included) != S_OK) return ERROR_GEN_FAILURE;
    return ToResult(settings2.Get()->Save());
}

uint32_t CPostponeWindowsUpdate::_UpdateAutomaticUpdatesSettings(const Params* wanted,
                                                                 const Params* previous) {
    TRACE_SCOPE("CPostponeWindowsUpdate::_UpdateAutomaticUpdatesSettings");
    if (wanted == nullptr) {
        TRACE_LINE(trace::kError, L"New parameters are null!");
        return ERROR_GEN_FAILURE;
    }
    if (previous == nullptr) {
        TRACE_LINE(trace::kError, L"Previous parameters are null!");
        return ERROR_GEN_FAILURE;
    }
    if (wanted->notificationLevel != previous->notificationLevel) {
        const uint32_t error = _SetAutomaticUpdatesNotificationLevel(wanted->notificationLevel);
        if (error != ERROR_SUCCESS) return error;
    }
    if (wanted->recommendedUpdates == previous->recommendedUpdates) return ERROR_SUCCESS;
    return RecommendedResult(traceScope, _SetRecommendedUpdates(wanted->recommendedUpdates),
                             L"Update - unable to set recommended updates.");
}

uint32_t CPostponeWindowsUpdate::_MoveTo(const Params& wanted) {
    TRACE_SCOPE("CPostponeWindowsUpdate::_MoveTo");
    uint32_t result = _Connect();
    if (result == ERROR_SUCCESS) {
        result = _UpdateAutomaticUpdatesSettings(&wanted, &m_parameters);
        if (result == ERROR_SUCCESS) m_parameters = wanted;
        m_isHalfway = m_isHalfway || result != ERROR_SUCCESS;
    }
    _Disconnect();
    return result;
}

}  // namespace optimizer
