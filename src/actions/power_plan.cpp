#include "actions/power_plan.h"

#include <algorithm>
#include <new>
#include <optional>
#include <type_traits>
#include <utility>

#include "frame/trace.h"
#include "frame/version.h"

namespace optimizer {

namespace {

constexpr uint32_t kLeftAlone = PowerPlanParams::kLeftAlone;

// GUID_VIDEO_SUBGROUP
constexpr GUID kVideo = {0x7516B95F, 0xF776, 0x4464, {0x8C, 0x53, 0x06, 0x16, 0x7F, 0x40, 0xCC, 0x99}};
// GUID_BATTERY_SUBGROUP
constexpr GUID kBattery = {0xE73A048D, 0xBF27, 0x4F12, {0x97, 0x31, 0x8B, 0x20, 0x76, 0xE8, 0x89, 0x1F}};
// GUID_PROCESSOR_SETTINGS_SUBGROUP
constexpr GUID kProcessor = {0x54533251, 0x82BE, 0x4824, {0x96, 0xC1, 0x47, 0xB6, 0x0B, 0x74, 0x0D, 0x00}};
constexpr GUID kUsb = {0x2A737441, 0x1930, 0x4402, {0x8D, 0x77, 0xB2, 0xBE, 0xBB, 0xA3, 0x08, 0xA3}};

struct Setting {
    uint32_t PowerPlanParams::*value;
    GUID subgroup;
    GUID guid;
};

/// In the order in which they are read and written.
constexpr Setting kSettings[] = {
    // GUID_VIDEO_DIM_TIMEOUT
    {&PowerPlanParams::dimTime,
     kVideo,
     {0x17AAA29B, 0x8B43, 0x4B94, {0xAA, 0xFE, 0x35, 0xF6, 0x4D, 0xAA, 0xF1, 0xEE}}},
    // GUID_DEVICE_POWER_POLICY_VIDEO_DIM_BRIGHTNESS
    {&PowerPlanParams::dimValue,
     kVideo,
     {0xF1FBFDE2, 0xA960, 0x4165, {0x9F, 0x88, 0x50, 0x66, 0x79, 0x11, 0xCE, 0x96}}},
    // GUID_VIDEO_POWERDOWN_TIMEOUT
    {&PowerPlanParams::displayOffTime,
     kVideo,
     {0x3C0BC021, 0xC8A8, 0x4E07, {0xA9, 0x73, 0x6B, 0x14, 0xCB, 0xCB, 0x2B, 0x7E}}},
    // GUID_DEVICE_POWER_POLICY_VIDEO_BRIGHTNESS
    {&PowerPlanParams::brightnessLevel,
     kVideo,
     {0xADED5E82, 0xB909, 0x4619, {0x99, 0x49, 0xF5, 0xD7, 0x1D, 0xAC, 0x0B, 0xCB}}},
    // GUID_VIDEO_ADAPTIVE_DISPLAY_BRIGHTNESS
    {&PowerPlanParams::adaptive,
     kVideo,
     {0xFBD9AA66, 0x9553, 0x4097, {0xBA, 0x44, 0xED, 0x6E, 0x9D, 0x65, 0xEA, 0xB8}}},
    // GUID_STANDBY_TIMEOUT
    {&PowerPlanParams::sleepTime,
     kSleepSubgroup,
     {0x29F6C1DB, 0x86DA, 0x48C5, {0x9F, 0xDB, 0xF2, 0xB6, 0x7B, 0x1F, 0x44, 0xDA}}},
    // GUID_ALLOW_RTC_WAKE
    {&PowerPlanParams::rtcWake,
     kSleepSubgroup,
     {0xBD3B718A, 0x0680, 0x4D9D, {0x8A, 0xB2, 0xE1, 0xD2, 0xB4, 0xAC, 0x80, 0x6D}}},
    // GUID_BATTERY_DISCHARGE_LEVEL_0
    {&PowerPlanParams::batteryLevel,
     kBattery,
     {0x9A66D8D7, 0x4FF7, 0x4EF9, {0xB5, 0xA2, 0x5A, 0x32, 0x6C, 0xA2, 0xA4, 0x69}}},
    // GUID_BATTERY_DISCHARGE_ACTION_0
    {&PowerPlanParams::lowBatteryAction,
     kBattery,
     {0x637EA02F, 0xBBCB, 0x4015, {0x8E, 0x2C, 0xA1, 0xC7, 0xB9, 0xC0, 0xB5, 0x46}}},
    // GUID_SYSTEM_COOLING_POLICY
    {&PowerPlanParams::coolingPolicy,
     kProcessor,
     {0x94D3A615, 0xA899, 0x4AC5, {0xAE, 0x2B, 0xE4, 0xD8, 0xF6, 0x34, 0x36, 0x7F}}},
    // GUID_PROCESSOR_THROTTLE_MAXIMUM
    {&PowerPlanParams::processorMaxState,
     kProcessor,
     {0xBC5038F7, 0x23E0, 0x4960, {0x96, 0xDA, 0x33, 0xAB, 0xAF, 0x59, 0x35, 0xEC}}},
    // USB selective suspend
    {&PowerPlanParams::usbSelectiveState,
     kUsb,
     {0x48E6B7A6, 0x50F5, 0x4782, {0xA5, 0xD4, 0x53, 0xBB, 0x8F, 0x07, 0xE2, 0x26}}},
};

/// Calls `visit` with each value that exists on a legacy system and the place of it in the policy.
template <class Params, class Visit>
void VisitLegacyValues(Params& params, USER_POWER_POLICY& policy, bool onBattery, Visit visit) {
    visit(params.displayOffTime, onBattery ? policy.VideoTimeoutDc : policy.VideoTimeoutAc);
    visit(params.sleepTime, onBattery ? policy.IdleTimeoutDc : policy.IdleTimeoutAc);
    visit(params.coolingPolicy, onBattery ? policy.OptimizeForPowerDc : policy.OptimizeForPowerAc);
    visit(params.processorMaxState, onBattery ? policy.ForcedThrottleDc : policy.ForcedThrottleAc);
}

uint32_t ToResult(bool succeeded) {
    return succeeded ? ERROR_SUCCESS : ERROR_GEN_FAILURE;
}

}  // namespace

CPowerPlan::CPowerPlan(PowerPlanParams parameters)
    : ActionWith(std::move(parameters), ERROR_GEN_FAILURE),
      m_legacy(!IsWindows6OrLater(kVistaMinor)),
      m_bound(m_legacy || m_functions.Bind()) {}

CPowerPlan::~CPowerPlan() {
    // A library that lacks a function stays loaded, on purpose: only one that was bound is freed.
    if (!m_bound) static_cast<void>(m_functions.library.Release());
}

uint32_t CPowerPlan::Note(IOptimizerActionSettings*) {
    TRACE_SCOPE("CPowerPlan::Note");
    if (m_revertParameters != nullptr && (m_legacy || !m_revertParameters->scheme.empty()))
        return ERROR_SUCCESS;
    if (!m_bound || !_ReadActiveScheme()) return ERROR_GEN_FAILURE;
    // A note of before there were plans in notes: from here on it is of the one that is active.
    if (m_revertParameters != nullptr) {
        m_revertParameters->scheme = SchemeText(*static_cast<const GUID*>(m_activeScheme.Get()));
    }
    return ToResult(_PrepareRevert());
}

uint32_t CPowerPlan::Start() {
    TRACE_SCOPE("CPowerPlan::Start");
    if (!m_bound || !_ReadActiveScheme()) return ERROR_GEN_FAILURE;
    m_revertReady = _PrepareRevert();
    if (!m_revertReady) return ERROR_GEN_FAILURE;
    if (!m_legacy && m_parameters.onBattery != 0) {
        // The display never gets brighter than the user had it: "left alone" becomes the user's value too,
        // and a power source that is neither 0 nor 1 is kept down as well.
        m_parameters.brightnessLevel =
            std::min(m_parameters.brightnessLevel, m_revertParameters->brightnessLevel);
    }
    return ToResult(_Apply(m_parameters));
}

uint32_t CPowerPlan::Revert() {
    TRACE_SCOPE("CPowerPlan::Revert");
    // The record is missing although it was ready once when an Update changed the source and then failed.
    m_reverted = m_revertParameters == nullptr;
    if (!m_bound || !m_revertReady || m_revertParameters == nullptr) return ERROR_GEN_FAILURE;
    m_reverted = _Apply(*m_revertParameters);
    return ToResult(m_reverted);
}

uint32_t CPowerPlan::FinishRevert() {
    TRACE_SCOPE("CPowerPlan::FinishRevert");
    // What the machine is at counts, not what the way back was told: a start that failed behind its note may
    // have changed nothing.
    return ToResult(m_legacy ? m_reverted : _IsBack());
}

uint32_t CPowerPlan::PutBack() {
    TRACE_SCOPE("CPowerPlan::PutBack");
    const uint32_t error = ActionWith::PutBack();
    if (error != ERROR_SUCCESS || m_legacy) return error;
    return ToResult(_IsBack());
}

/// Looks whether each noted value stands in its plan again. What can't be set here, and so never was, is as
/// it was noted; in a plan that doesn't exist any more nothing is left to put back.
bool CPowerPlan::_IsBack() {
    TRACE_SCOPE("CPowerPlan::_IsBack");
    const GUID* const scheme = _Scheme();
    if (m_revertParameters == nullptr) return true;
    if (scheme == nullptr) return false;
    const auto read = m_revertParameters->IsOnBattery() ? m_functions.readDC : m_functions.readAC;
    uint32_t noted = 0;
    uint32_t gone = 0;
    bool allBack = true;
    for (const Setting& setting : kSettings) {
        const uint32_t value = *m_revertParameters.*setting.value;
        if (value == kLeftAlone) continue;
        ++noted;
        DWORD now = kLeftAlone;
        const DWORD error = read(nullptr, scheme, &setting.subgroup, &setting.guid, &now);
        if (error == ERROR_FILE_NOT_FOUND) ++gone;
        if (error != ERROR_SUCCESS || now != value) allBack = false;
    }
    if (allBack || gone != noted) return allBack;
    const std::optional<GUID> active = m_functions.ActiveScheme();
    return active && *active != *scheme;
}

uint32_t CPowerPlan::Update(IOptimizerActionSettings* parameters) {
    TRACE_SCOPE("CPowerPlan::Update");
    const auto* const wanted = dynamic_cast<const PowerPlanParams*>(parameters);
    if (wanted == nullptr) return ERROR_GEN_FAILURE;
    if (*wanted == m_parameters) return ERROR_SUCCESS;
    if (wanted->onBattery != m_parameters.onBattery) {
        // The new source gets a snapshot of its own.
        Revert();
        m_revertParameters.reset();
    }
    m_parameters = *wanted;
    return Start();
}

bool CPowerPlan::CanReturnTo(const IOptimizerActionSettings* saved) const {
    const auto* const typed = dynamic_cast<const PowerPlanParams*>(saved);
    // A legacy record says "cable" whatever it holds.
    return m_legacy || typed == nullptr || typed->IsOnBattery() == m_parameters.IsOnBattery();
}

bool CPowerPlan::CanUpdateTo(const IOptimizerActionSettings* next) const {
    const auto* const typed = dynamic_cast<const PowerPlanParams*>(next);
    // Every other number gets a note of its own in Update, also one that chooses the same side.
    return typed == nullptr || typed->onBattery == m_parameters.onBattery;
}

bool CPowerPlan::_ReadActiveScheme() {
    if (m_legacy) return GetActivePwrScheme(&m_legacySchemeIndex) != FALSE;

    // The scheme of an earlier Start stays allocated, on purpose; the last one is freed at the end.
    static_cast<void>(m_activeScheme.Release());
    const DWORD error =
        m_functions.getActiveScheme(nullptr, reinterpret_cast<GUID**>(m_activeScheme.Receive()));
    if (error == ERROR_SUCCESS) return true;
    static_cast<void>(m_activeScheme.Release());
    return false;
}

bool CPowerPlan::_PrepareRevert() {
    if (m_revertParameters == nullptr) return m_legacy ? _SnapshotLegacy() : _Snapshot();
    // A legacy policy is written as a whole: one that was never read would clear what the action leaves
    // alone.
    return !m_legacy || m_hasLegacyPolicy || _ReadLegacyPolicy();
}

bool CPowerPlan::_ReadLegacyPolicy() {
    GLOBAL_POWER_POLICY globalPolicy = {};
    m_hasLegacyPolicy = GetCurrentPowerPolicies(&globalPolicy, &m_legacyPolicy) != FALSE;
    return m_hasLegacyPolicy;
}

bool CPowerPlan::_Snapshot() {
    TRACE_SCOPE("CPowerPlan::_Snapshot");
    if (!m_activeScheme) return false;
    m_revertParameters.reset(new (std::nothrow) PowerPlanParams);
    if (m_revertParameters == nullptr) return false;
    m_revertParameters->onBattery = m_parameters.onBattery;
    m_revertParameters->scheme = SchemeText(*static_cast<const GUID*>(m_activeScheme.Get()));

    const auto read = m_parameters.IsOnBattery() ? m_functions.readDC : m_functions.readAC;
    const auto* const scheme = static_cast<const GUID*>(m_activeScheme.Get());
    for (const Setting& setting : kSettings) {
        DWORD value = kLeftAlone;
        // What can't be read will be left alone on the way back.
        if (read(nullptr, scheme, &setting.subgroup, &setting.guid, &value) == ERROR_SUCCESS)
            *m_revertParameters.*setting.value = value;
    }
    return true;
}

bool CPowerPlan::_SnapshotLegacy() {
    TRACE_SCOPE("CPowerPlan::_SnapshotLegacy");
    if (!_ReadLegacyPolicy()) return false;
    // The record's power source stays the cable, on purpose: on these systems what was found for the battery
    // goes back into the cable's values.
    m_revertParameters.reset(new (std::nothrow) PowerPlanParams);
    if (m_revertParameters == nullptr) return false;
    VisitLegacyValues(*m_revertParameters, m_legacyPolicy.user, m_parameters.IsOnBattery(),
                      [](uint32_t& found, const auto& value) { found = value; });
    return true;
}

/// The plan that the note is of, since in another one, chosen meanwhile, nobody would find the change again;
/// the active one for a note that names none.
const GUID* CPowerPlan::_Scheme() {
    if (m_revertParameters != nullptr && SchemeFromText(m_revertParameters->scheme, m_notedScheme))
        return &m_notedScheme;
    return m_activeScheme ? static_cast<const GUID*>(m_activeScheme.Get()) : nullptr;
}

bool CPowerPlan::_Apply(const PowerPlanParams& wanted) {
    TRACE_SCOPE("CPowerPlan::_Apply");
    if (m_legacy) return _ApplyLegacy(wanted);
    if (!m_activeScheme) return false;

    const auto write = wanted.IsOnBattery() ? m_functions.writeDC : m_functions.writeAC;
    const GUID* const scheme = _Scheme();
    for (const Setting& setting : kSettings) {
        // What couldn't be noted isn't changed either: it would never come back.
        const bool isNoted = *m_revertParameters.*setting.value != kLeftAlone;
        const uint32_t value = wanted.*setting.value;
        // Not every machine knows every setting: one that fails doesn't stop the others.
        if (value != kLeftAlone && isNoted) write(nullptr, scheme, &setting.subgroup, &setting.guid, value);
    }
    // A plan that somebody has chosen meanwhile stays the active one.
    if (m_functions.ActiveScheme() == *scheme) m_functions.setActiveScheme(nullptr, scheme);
    return true;
}

bool CPowerPlan::_ApplyLegacy(const PowerPlanParams& wanted) {
    VisitLegacyValues(wanted, m_legacyPolicy.user, wanted.IsOnBattery(), [](uint32_t value, auto& place) {
        if (value != kLeftAlone) place = static_cast<std::decay_t<decltype(place)>>(value);
    });
    return SetActivePwrScheme(m_legacySchemeIndex, nullptr, &m_legacyPolicy) != FALSE;
}

}  // namespace optimizer
