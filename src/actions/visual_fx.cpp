#include "actions/visual_fx.h"

#include <algorithm>
#include <utility>

#include "actions/agent_message.h"
#include "actions/user_sid.h"
#include "frame/guarded.h"
#include "frame/plugin_request.h"
#include "frame/trace.h"

namespace optimizer {

namespace {

constexpr auto kMessage = static_cast<int32_t>(NpcMsgAgent::VisualEffects);
constexpr DWORD kReportPatienceMs = 5000;
constexpr const wchar_t* kSettingKey =
    L"\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\VisualEffects";
constexpr const wchar_t* kSettingValue = L"VisualFXSetting";
constexpr DWORD kCustom = 3;

void WriteHead(CByteStream& command, VisualEffectsCommand which) {
    command.WriteUint32(static_cast<uint32_t>(which));
}

void WriteValues(CByteStream& command, const VisualFXParams& values) {
    command.WriteNarrowString(values.ToText().c_str());
}

}  // namespace

VisualFX::VisualFX(VisualFXParams parameters, IServMain* main)
    : ActionWith(std::move(parameters)),
      m_main(main),
      m_revertReceived(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
    _Connect();
}

VisualFX::~VisualFX() {
    // When this returns no report is under way any more.
    if (m_subscribed) m_agentServer->UnregisterObserver(&kMessage, this);
    if (m_agentServer == nullptr) return;
    // Gone during a shut-down, when the host has ended the plug-in by itself.
    if (IComponentManager* const components = m_main->GetComponentManager()) {
        components->ReleasePlugin(kAgentServerPlugin);
    }
}

void VisualFX::_Connect() {
    TRACE_SCOPE("VisualFX::_Connect");
    if (m_main == nullptr) return;
    m_agentServer = RequestPlugin<IOptimizerAgentServer>(m_main->GetComponentManager(), kAgentServerPlugin);
    if (m_agentServer == nullptr) return;
    m_subscribed = m_agentServer->RegisterObserver(&kMessage, this) == ERROR_SUCCESS;
}

uint32_t VisualFX::Start() {
    TRACE_SCOPE("VisualFX::Start");
    std::wstring sid;
    const uint32_t userError = FindCurrentUserSid(sid);
    if (userError != ERROR_SUCCESS) return userError;
    const uint32_t settingError = _SetVisualFXSettingToCustom(sid);
    if (settingError != ERROR_SUCCESS) return settingError;
    {
        const CriticalSectionGuard guard(m_lock);
        m_hasReport = false;
    }
    CByteStream command;
    WriteHead(command, VisualEffectsCommand::Start);
    WriteValues(command, m_parameters);
    return _Send(command);
}

/// The system would choose the effects by itself otherwise. It stays custom after a revert: who had it choose
/// before can't be told from who chose by hand.
uint32_t VisualFX::_SetVisualFXSettingToCustom(const std::wstring& sid) {
    TRACE_SCOPE("VisualFX::_SetVisualFXSettingToCustom");
    const std::wstring path = sid + kSettingKey;
    RegistryKey key;
    const LSTATUS openError = RegOpenKeyExW(HKEY_USERS, path.c_str(), 0, KEY_READ | KEY_WRITE, key.Receive());
    if (openError != ERROR_SUCCESS) {
        TRACE_LINE(trace::kError, L"Could not open registry key: %s. Error: %d", path.c_str(), openError);
        return static_cast<uint32_t>(openError);
    }
    const LSTATUS setError = RegSetValueExW(key.Get(), kSettingValue, 0, REG_DWORD,
                                            reinterpret_cast<const BYTE*>(&kCustom), sizeof(kCustom));
    if (setError != ERROR_SUCCESS) {
        TRACE_LINE(trace::kError, L"Could not set registry value: %s. Error: %d", kSettingValue, setError);
    }
    return static_cast<uint32_t>(setError);
}

uint32_t VisualFX::Revert() {
    TRACE_SCOPE("VisualFX::Revert");
    CByteStream command;
    WriteHead(command, VisualEffectsCommand::Revert);
    WriteValues(command, m_parameters);
    {
        const CriticalSectionGuard guard(m_lock);
        if (m_revertParameters == nullptr) return ERROR_SUCCESS;
        WriteValues(command, *m_revertParameters);
    }
    // Nobody can use the result: no agent tells whether it brought the effects back.
    static_cast<void>(_Send(command));
    return ERROR_SUCCESS;
}

/// The new parameters aren't stored: the next update compares against those that the action was made with.
uint32_t VisualFX::Update(IOptimizerActionSettings* parameters) {
    TRACE_SCOPE("VisualFX::Update");
    const auto* const wanted = dynamic_cast<const VisualFXParams*>(parameters);
    if (wanted == nullptr) return ERROR_INVALID_PARAMETER;
    CByteStream command;
    WriteHead(command, VisualEffectsCommand::Update);
    WriteValues(command, m_parameters);
    WriteValues(command, *wanted);
    {
        const CriticalSectionGuard guard(m_lock);
        if (m_revertParameters == nullptr) m_revertParameters = std::make_unique<VisualFXParams>();
        WriteValues(command, *m_revertParameters);
    }
    return _Send(command);
}

uint32_t VisualFX::_Send(const CByteStream& command) {
    if (m_agentServer == nullptr) return ERROR_INVALID_PARAMETER;
    constexpr auto id = static_cast<uint32_t>(NpcMsgAgent::VisualEffects);
    return m_agentServer->RunAction(&id, command.Data(), command.SizeBytes());
}

IOptimizerActionSettings* VisualFX::GetRevertParameters() {
    TRACE_SCOPE("VisualFX::GetRevertParameters");
    if (m_revertReceived) WaitForSingleObject(m_revertReceived.Get(), kReportPatienceMs);
    const CriticalSectionGuard guard(m_lock);
    if (m_revertParameters == nullptr) return nullptr;
    m_handedOut = *m_revertParameters;
    return &m_handedOut;
}

bool VisualFX::CanReturnTo(const IOptimizerActionSettings* saved) const {
    const auto* const typed = dynamic_cast<const VisualFXParams*>(saved);
    return typed == nullptr ||
           std::all_of(typed->effects.begin(), typed->effects.end(),
                       [this](const auto& effect) { return m_parameters.effects.contains(effect.first); });
}

uint32_t VisualFX::PutBack() {
    TRACE_SCOPE("VisualFX::PutBack");
    const uint32_t error = ActionWith::PutBack();
    if (error != ERROR_SUCCESS) return error;
    // An action that was handed its values has them without any agent: only a report tells.
    if (m_revertReceived) WaitForSingleObject(m_revertReceived.Get(), kReportPatienceMs);
    const CriticalSectionGuard guard(m_lock);
    return m_hasReport ? ERROR_SUCCESS : ERROR_TIMEOUT;
}

uint32_t VisualFX::SetRevertParameters(IOptimizerActionSettings* parameters) {
    TRACE_SCOPE("VisualFX::SetRevertParameters");
    const CriticalSectionGuard guard(m_lock);
    return ActionWith::SetRevertParameters(parameters);
}

void VisualFX::OnAgentData(const void* payload, int32_t sizeBytes) {
    TRACE_SCOPE("VisualFX::OnAgentData");
    const uint32_t error = Guarded([&] { return _Load(payload, sizeBytes), uint32_t{ERROR_SUCCESS}; });
    if (error != ERROR_SUCCESS) TRACE_LINE(trace::kError, L"The report was lost: 0x%x", error);
    if (m_revertReceived) SetEvent(m_revertReceived.Get());
}

void VisualFX::_Load(const void* payload, int32_t sizeBytes) {
    CByteStream report(payload, payload != nullptr && sizeBytes > 0 ? static_cast<size_t>(sizeBytes) : 0);
    VisualFXParams found;
    found.FromText(report.ReadNarrowString());
    const CriticalSectionGuard guard(m_lock);
    if (m_revertParameters == nullptr) m_revertParameters = std::make_unique<VisualFXParams>();
    // What is there already stays: it was supplied by an earlier run, or an agent told it before the change.
    m_revertParameters->effects.merge(found.effects);
    m_hasReport = true;
}

}  // namespace optimizer
