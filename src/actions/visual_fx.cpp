#include "actions/visual_fx.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "actions/agent_message.h"
#include "actions/user_sid.h"
#include "frame/guarded.h"
#include "frame/patience.h"
#include "frame/plugin_request.h"
#include "frame/trace.h"

namespace optimizer {

namespace {

constexpr auto kMessage = static_cast<int32_t>(NpcMsgAgent::VisualEffects);
constexpr DWORD kPatienceMs = 5000;
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

void AddKeys(const VisualFXParams& values, std::set<std::string>& keys) {
    for (const auto& effect : values.effects)
        keys.insert(effect.first);
}

}  // namespace

VisualFX::VisualFX(VisualFXParams parameters, IServMain* main)
    : ActionWith(std::move(parameters)),
      m_main(main),
      m_applied(m_parameters),
      m_stop(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      m_reportCame(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
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
    m_presence = static_cast<IAgentPresence*>(m_agentServer->QueryInterface(&IAgentPresence::kIdentifier));
    m_subscribed = m_agentServer->RegisterObserver(&kMessage, this) == ERROR_SUCCESS;
}

uint32_t VisualFX::Note(IOptimizerActionSettings* next) {
    TRACE_SCOPE("VisualFX::Note");
    ResetEvent(m_stop.Get());
    const auto* const wanted = next != nullptr ? dynamic_cast<const VisualFXParams*>(next) : &m_parameters;
    if (wanted == nullptr) return ERROR_INVALID_PARAMETER;
    const VisualFXParams lacking = _Lacking(*wanted);
    if (lacking.effects.empty()) return ERROR_SUCCESS;
    if (m_agentServer == nullptr) return ERROR_INVALID_PARAMETER;
    uint32_t error = _WaitForAgent();
    if (error == ERROR_SUCCESS) error = _Ask(lacking);
    if (error != ERROR_SUCCESS) TRACE_LINE(trace::kError, L"The effects can't be noted: 0x%x", error);
    return error;
}

/// The effects of `wanted` that aren't noted.
VisualFXParams VisualFX::_Lacking(const VisualFXParams& wanted) {
    VisualFXParams lacking = wanted;
    const CriticalSectionGuard guard(m_lock);
    if (m_revertParameters == nullptr) return lacking;
    std::erase_if(lacking.effects,
                  [this](const auto& effect) { return m_revertParameters->effects.contains(effect.first); });
    return lacking;
}

/// An agent that doesn't know the command answers with an empty text, which tells of nothing.
uint32_t VisualFX::_Ask(const VisualFXParams& lacking) {
    {
        const CriticalSectionGuard guard(m_lock);
        AddKeys(lacking, m_awaited);
    }
    const auto isAwaited = [this](const auto& effect)
                               REQUIRES(m_lock) { return m_awaited.contains(effect.first); };
    const auto& effects = lacking.effects;
    uint32_t error = _Broadcast(VisualEffectsCommand::Read, lacking);
    if (error == ERROR_SUCCESS) {
        error = _WaitUntil(
            [&]() REQUIRES(m_lock) { return std::none_of(effects.begin(), effects.end(), isAwaited); });
    }
    if (error == ERROR_SUCCESS) return error;
    // What comes later may be out of date when the next change asks.
    const CriticalSectionGuard guard(m_lock);
    for (const auto& effect : effects)
        m_awaited.erase(effect.first);
    return error;
}

uint32_t VisualFX::Start() {
    TRACE_SCOPE("VisualFX::Start");
    ResetEvent(m_stop.Get());
    {
        // First of all: also a start that fails has set nothing.
        const CriticalSectionGuard guard(m_lock);
        m_awaited.clear();
        AddKeys(m_parameters, m_awaited);
    }
    std::wstring sid;
    const uint32_t userError = FindCurrentUserSid(sid);
    if (userError != ERROR_SUCCESS) return userError;
    const uint32_t settingError = _SetVisualFXSettingToCustom(sid);
    if (settingError != ERROR_SUCCESS) return settingError;
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

uint32_t VisualFX::Stop() {
    TRACE_SCOPE("VisualFX::Stop");
    SetEvent(m_stop.Get());
    return ERROR_SUCCESS;
}

uint32_t VisualFX::Revert() {
    TRACE_SCOPE("VisualFX::Revert");
    ResetEvent(m_stop.Get());
    CByteStream command;
    WriteHead(command, VisualEffectsCommand::Revert);
    // Not the parameters alone: an effect that only an update brought in would never come back.
    WriteValues(command, m_applied);
    VisualFXParams noted;
    VisualFXParams unsure;
    {
        const CriticalSectionGuard guard(m_lock);
        if (m_revertParameters == nullptr) return ERROR_SUCCESS;
        noted = *m_revertParameters;
        std::copy_if(
            noted.effects.begin(), noted.effects.end(), std::inserter(unsure.effects, unsure.effects.end()),
            [this](const auto& effect) REQUIRES(m_lock) { return m_awaited.contains(effect.first); });
        m_isRevertAnswered = false;
        m_unread.clear();
        AddKeys(noted, m_unread);
    }
    WriteValues(command, noted);
    // Nobody can use the result: FinishRevert tells.
    static_cast<void>(_Send(command));
    // No agent told of setting these: an older value there would pass for the hand's and stay for good.
    if (m_answerError == ERROR_SUCCESS && !unsure.effects.empty()) {
        m_answerError = _Broadcast(VisualEffectsCommand::Start, unsure);
    }
    // Answers carry no number. That to a read behind the revert's own tells more surely that all was done.
    if (m_answerError == ERROR_SUCCESS) m_answerError = _Broadcast(VisualEffectsCommand::Read, noted);
    return ERROR_SUCCESS;
}

uint32_t VisualFX::FinishRevert() {
    TRACE_SCOPE("VisualFX::FinishRevert");
    {
        const CriticalSectionGuard guard(m_lock);
        if (m_revertParameters == nullptr || m_revertParameters->effects.empty()) return ERROR_SUCCESS;
    }
    if (m_answerError != ERROR_SUCCESS) return m_answerError;
    return _WaitUntil([this]() REQUIRES(m_lock) { return m_unread.empty(); });
}

/// The new parameters aren't stored: the next update compares against those that the action was made with.
uint32_t VisualFX::Update(IOptimizerActionSettings* parameters) {
    TRACE_SCOPE("VisualFX::Update");
    const auto* const wanted = dynamic_cast<const VisualFXParams*>(parameters);
    if (wanted == nullptr) return ERROR_INVALID_PARAMETER;
    ResetEvent(m_stop.Get());
    // The agent sets these alone; it leaves those that both hold, and those that are no longer wanted.
    VisualFXParams added = *wanted;
    std::erase_if(added.effects,
                  [this](const auto& effect) { return m_parameters.effects.contains(effect.first); });
    CByteStream command;
    WriteHead(command, VisualEffectsCommand::Update);
    WriteValues(command, m_parameters);
    WriteValues(command, *wanted);
    {
        const CriticalSectionGuard guard(m_lock);
        if (m_revertParameters == nullptr) m_revertParameters = std::make_unique<VisualFXParams>();
        WriteValues(command, *m_revertParameters);
        AddKeys(added, m_awaited);
    }
    const uint32_t error = _Send(command);
    if (error != ERROR_SUCCESS) return error;
    for (const auto& [key, value] : added.effects)
        m_applied.effects[key] = value;
    return error;
}

/// 0 when an agent is there to hear a command, as far as that can be told.
uint32_t VisualFX::_WaitForAgent() {
    return m_presence != nullptr ? m_presence->WaitForAgent(kPatienceMs, m_stop.Get()) : ERROR_SUCCESS;
}

/// Sends also where no agent was heard of, and gives the broadcast's code: `m_answerError` tells.
uint32_t VisualFX::_Send(const CByteStream& command) {
    m_answerError = m_agentServer != nullptr ? _WaitForAgent() : ERROR_INVALID_PARAMETER;
    if (m_agentServer == nullptr || m_answerError == ERROR_CANCELLED) return m_answerError;
    const uint32_t error = _Broadcast(command);
    if (error != ERROR_SUCCESS) m_answerError = error;
    return error;
}

uint32_t VisualFX::_Broadcast(const CByteStream& command) {
    constexpr auto id = static_cast<uint32_t>(NpcMsgAgent::VisualEffects);
    return m_agentServer->RunAction(&id, command.Data(), command.SizeBytes());
}

uint32_t VisualFX::_Broadcast(VisualEffectsCommand which, const VisualFXParams& values) {
    CByteStream command;
    WriteHead(command, which);
    WriteValues(command, values);
    return _Broadcast(command);
}

/// Blocks until `isDone`, which is asked under the lock at each report, says so.
template <class IsDone>
uint32_t VisualFX::_WaitUntil(IsDone isDone) {
    const CPatience patience(kPatienceMs, m_stop.Get());
    for (;;) {
        {
            const CriticalSectionGuard guard(m_lock);
            if (isDone()) return ERROR_SUCCESS;
        }
        const uint32_t error = patience.WaitFor(m_reportCame.Get());
        if (error != ERROR_SUCCESS) return error;
    }
}

IOptimizerActionSettings* VisualFX::GetRevertParameters() {
    TRACE_SCOPE("VisualFX::GetRevertParameters");
    if (m_answerError == ERROR_SUCCESS) {
        // One wait for a report that doesn't come; it is still taken when it comes later.
        m_answerError = _WaitUntil([this]() REQUIRES(m_lock) {
            return std::all_of(m_awaited.begin(), m_awaited.end(), [this](const std::string& key) {
                return m_revertParameters != nullptr && m_revertParameters->effects.contains(key);
            });
        });
    }
    const CriticalSectionGuard guard(m_lock);
    if (m_revertParameters == nullptr) return nullptr;
    m_handedOut = *m_revertParameters;
    return &m_handedOut;
}

bool VisualFX::CanReturnTo(const IOptimizerActionSettings* saved) const {
    const auto* const typed = dynamic_cast<const VisualFXParams*>(saved);
    return typed == nullptr ||
           std::all_of(typed->effects.begin(), typed->effects.end(),
                       [this](const auto& effect) { return m_applied.effects.contains(effect.first); });
}

uint32_t VisualFX::PutBack() {
    TRACE_SCOPE("VisualFX::PutBack");
    if (m_parameters.effects.empty()) return ERROR_SUCCESS;
    const uint32_t error = SetRevertParameters(&m_parameters);
    if (error != ERROR_SUCCESS) return error;
    {
        // So that they are set whatever they are at. Not by Start, whose step in the registry isn't needed
        // for that and fails for a user who lacks the key.
        const CriticalSectionGuard guard(m_lock);
        m_awaited.clear();
        AddKeys(m_parameters, m_awaited);
    }
    static_cast<void>(Revert());
    return FinishRevert();
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
    SetEvent(m_reportCame.Get());
}

void VisualFX::_Load(const void* payload, int32_t sizeBytes) {
    CByteStream report(payload, payload != nullptr && sizeBytes > 0 ? static_cast<size_t>(sizeBytes) : 0);
    const std::string text = report.ReadNarrowString();
    VisualFXParams found;
    found.FromText(text);
    const CriticalSectionGuard guard(m_lock);
    if (text.empty()) m_isRevertAnswered = true;
    if (m_isRevertAnswered) {
        for (const auto& effect : found.effects)
            m_unread.erase(effect.first);
    }
    // Every action hears every report. One that another action asked for may tell what a profile left behind
    // and mustn't become a value to return to.
    if (text.empty() || m_awaited.empty()) return;
    if (m_revertParameters == nullptr) m_revertParameters = std::make_unique<VisualFXParams>();
    for (const auto& effect : found.effects) {
        // What is there already stays: it was supplied by an earlier run, or an agent told it before the
        // change.
        if (m_awaited.erase(effect.first) != 0) m_revertParameters->effects.insert(effect);
    }
}

}  // namespace optimizer
