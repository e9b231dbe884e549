#include "actions/block_win_notifications_win8_action.h"

#include <utility>

#include <windows.h>

#include "actions/agent_message.h"
#include "actions/user_hive.h"
#include "actions/user_sid.h"
#include "frame/handles.h"
#include "frame/trace.h"

namespace optimizer {

CBlockWinNotificationsWin8Action::CBlockWinNotificationsWin8Action(const wchar_t* name,
                                                                   BlockWinNotificationsParams parameters,
                                                                   IServMain* main)
    : ActionWith(std::move(parameters)), m_name(name), m_main(main) {}

uint32_t CBlockWinNotificationsWin8Action::_FindUser() {
    TRACE_SCOPE("CBlockWinNotificationsWin8Action::_FindUser");
    // The user whom the note is of, whoever comes to the console meanwhile.
    if (!m_actsFor.empty()) {
        m_userSid = m_actsFor;
        return ERROR_SUCCESS;
    }
    const uint32_t error = FindCurrentUserSid(m_userSid);
    if (error != ERROR_SUCCESS) TRACE_LINE(trace::kError, L"Could not get current user sid.");
    return error;
}

uint32_t CBlockWinNotificationsWin8Action::Note(IOptimizerActionSettings*) {
    TRACE_SCOPE("CBlockWinNotificationsWin8Action::Note");
    const uint32_t userError = _FindUser();
    if (userError != ERROR_SUCCESS) return userError;
    m_actsFor = m_userSid;
    if (m_revertParameters != nullptr) return ERROR_SUCCESS;
    const uint32_t error = _TakeSnapshot();
    // A policy that is there and can't be read isn't the same as none.
    if (error != ERROR_SUCCESS) m_revertParameters.reset();
    return error;
}

uint32_t CBlockWinNotificationsWin8Action::Start() {
    TRACE_SCOPE("CBlockWinNotificationsWin8Action::Start");
    m_policyIsSet = false;
    const uint32_t userError = _FindUser();
    if (userError != ERROR_SUCCESS) return userError;
    if (m_revertParameters == nullptr) static_cast<void>(_TakeSnapshot());
    TRACE_LINE(trace::kInformation, L"BlockStatus: %d", m_parameters.blockStatus);
    const uint32_t error = _DoAction(m_parameters.blockStatus);
    if (error != ERROR_SUCCESS) TRACE_LINE(trace::kError, L"Failed block notifications! Error: %d", error);
    return error;
}

/// 0 also where there is no policy; otherwise the error for which it can't be told, and the status is as
/// without one.
uint32_t CBlockWinNotificationsWin8Action::_TakeSnapshot() {
    TRACE_SCOPE("CBlockWinNotificationsWin8Action::_TakeSnapshot");
    if (m_revertParameters == nullptr) m_revertParameters = std::make_unique<BlockWinNotificationsParams>();
    m_revertParameters->blockStatus = BlockStatus::NotConfigured;
    if (m_userSid.empty()) {
        TRACE_LINE(trace::kWarning, L"User sid is empty!");
        return ERROR_GEN_FAILURE;
    }
    const auto toResult = [](LSTATUS error) {
        return error == ERROR_FILE_NOT_FOUND ? uint32_t{ERROR_SUCCESS} : static_cast<uint32_t>(error);
    };
    const std::wstring path = _PolicyPath();
    RegistryKey key;
    LSTATUS error = RegOpenKeyExW(HKEY_USERS, path.c_str(), 0, KEY_READ, key.Receive());
    if (error != ERROR_SUCCESS) {
        TRACE_LINE(trace::kInformation, L"Could not open: %s. Status: not_configured", path.c_str());
        return toResult(error);
    }
    DWORD value = 0;
    DWORD sizeBytes = sizeof(value);
    error = RegQueryValueExW(key.Get(), m_policyValue.c_str(), nullptr, nullptr,
                             reinterpret_cast<BYTE*>(&value), &sizeBytes);
    if (error != ERROR_SUCCESS) {
        TRACE_LINE(trace::kWarning, L"Failed query value %s. Error: %d", m_policyValue.c_str(), error);
        return toResult(error);
    }
    m_revertParameters->blockStatus = value > 0 ? BlockStatus::Enabled : BlockStatus::Disabled;
    return ERROR_SUCCESS;
}

/// Where the agents can be told, the result is theirs: a failed agent hides what the registry said, and one
/// that works makes up for it.
uint32_t CBlockWinNotificationsWin8Action::_DoAction(BlockStatus status) {
    TRACE_SCOPE("CBlockWinNotificationsWin8Action::_DoAction");
    const uint32_t result = _ApplyStatus(status);
    IComponentManager* const components = m_main != nullptr ? m_main->GetComponentManager() : nullptr;
    return components != nullptr ? SendAgentMessage(*components, NpcMsgAgent::PolicyChanged) : result;
}

uint32_t CBlockWinNotificationsWin8Action::_ApplyStatus(BlockStatus status) {
    switch (status) {
        case BlockStatus::NotConfigured:
            _DeleteToastPolicy();
            return ERROR_SUCCESS;
        case BlockStatus::Enabled: {
            TRACE_MARKED_SCOPE("CBlockWinNotificationsWin8Action::_DoAction", L"Enabled");
            return _SetToastPolicyStatus(true);
        }
        case BlockStatus::Disabled: {
            TRACE_MARKED_SCOPE("CBlockWinNotificationsWin8Action::_DoAction", L"Disabled");
            return _SetToastPolicyStatus(false);
        }
    }
    return ERROR_GEN_FAILURE;
}

/// The whole key goes, not the value alone, where there is nothing else in it: other policies would never
/// come back. It needn't be there.
void CBlockWinNotificationsWin8Action::_DeleteToastPolicy() {
    TRACE_SCOPE("CBlockWinNotificationsWin8Action::_DeleteToastPolicy");
    m_policyIsSet = false;
    if (m_userSid.empty()) return;
    const std::wstring path = _PolicyPath();
    DWORD keys = 0;
    DWORD values = 0;
    RegistryKey key;
    LSTATUS error = RegOpenKeyExW(HKEY_USERS, path.c_str(), 0, KEY_READ | KEY_WRITE, key.Receive());
    if (error == ERROR_SUCCESS) {
        error = RegDeleteValueW(key.Get(), m_policyValue.c_str());
        RegQueryInfoKeyW(key.Get(), nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values, nullptr,
                         nullptr, nullptr, nullptr);
        key.Reset();
        if (keys == 0 && values == 0) RegDeleteKeyW(HKEY_USERS, path.c_str());
    }
    m_policyIsSet = error == ERROR_SUCCESS || error == ERROR_FILE_NOT_FOUND;
}

uint32_t CBlockWinNotificationsWin8Action::_SetToastPolicyStatus(bool value) {
    TRACE_SCOPE("CBlockWinNotificationsWin8Action::_SetToastPolicyStatus");
    m_policyIsSet = false;
    if (m_userSid.empty()) {
        TRACE_LINE(trace::kError, L"Current user sid is empty!");
        return ERROR_GEN_FAILURE;
    }
    const uint32_t keyError = _CreateToastPolicyRegKey();
    if (keyError != ERROR_SUCCESS) return keyError;
    const std::wstring path = _PolicyPath();
    RegistryKey key;
    const LSTATUS openError = RegOpenKeyExW(HKEY_USERS, path.c_str(), 0, KEY_READ | KEY_WRITE, key.Receive());
    if (openError != ERROR_SUCCESS) {
        TRACE_LINE(trace::kError, L"Could not open registry key: %s. Error: %d", path.c_str(), openError);
        return static_cast<uint32_t>(openError);
    }
    const DWORD data = value ? 1 : 0;
    const LSTATUS setError = RegSetValueExW(key.Get(), m_policyValue.c_str(), 0, REG_DWORD,
                                            reinterpret_cast<const BYTE*>(&data), sizeof(data));
    if (setError != ERROR_SUCCESS) {
        TRACE_LINE(trace::kError, L"Could not set registry value: %s. Error: %d", m_policyValue.c_str(),
                   setError);
    }
    m_policyIsSet = setError == ERROR_SUCCESS;
    return static_cast<uint32_t>(setError);
}

uint32_t CBlockWinNotificationsWin8Action::_CreateToastPolicyRegKey() {
    TRACE_SCOPE("CBlockWinNotificationsWin8Action::_CreateToastPolicyRegKey");
    if (m_userSid.empty()) return ERROR_GEN_FAILURE;
    const std::wstring path = _PolicyPath();
    RegistryKey key;
    if (RegOpenKeyExW(HKEY_USERS, path.c_str(), 0, KEY_READ, key.Receive()) == ERROR_SUCCESS) {
        return ERROR_SUCCESS;
    }
    const LSTATUS error = RegCreateKeyW(HKEY_USERS, path.c_str(), key.Receive());
    if (error == ERROR_SUCCESS) return ERROR_SUCCESS;
    TRACE_LINE(trace::kError, L"Could not create current user policy! Error: %d", error);
    return ERROR_GEN_FAILURE;
}

uint32_t CBlockWinNotificationsWin8Action::PutBack() {
    TRACE_SCOPE("CBlockWinNotificationsWin8Action::PutBack");
    const uint32_t error = ActionWith::PutBack();
    if (m_policyIsSet) return ERROR_SUCCESS;
    return error != ERROR_SUCCESS ? error : uint32_t{ERROR_GEN_FAILURE};
}

uint32_t CBlockWinNotificationsWin8Action::Revert() {
    TRACE_SCOPE("CBlockWinNotificationsWin8Action::Revert");
    // Without a note there is nothing to bring back.
    m_policyIsSet = m_revertParameters == nullptr;
    if (m_revertParameters == nullptr) return ERROR_GEN_FAILURE;
    // The user may have logged off since: what isn't loaded would be taken for having no policy.
    const UserHive hive(m_userSid);
    const uint32_t error = _DoAction(m_revertParameters->blockStatus);
    if (hive.Error() != ERROR_SUCCESS) m_policyIsSet = false;
    if (error != ERROR_SUCCESS) {
        TRACE_LINE(trace::kError, L"Could not revert block win notifications! Error: %d", error);
    }
    // Callers rely on 31 here, also after a revert that worked.
    return ERROR_GEN_FAILURE;
}

uint32_t CBlockWinNotificationsWin8Action::Update(IOptimizerActionSettings* parameters) {
    TRACE_SCOPE("CBlockWinNotificationsWin8Action::Update");
    const auto* const wanted = dynamic_cast<const BlockWinNotificationsParams*>(parameters);
    if (wanted == nullptr) return ERROR_INVALID_PARAMETER;
    if (*wanted == m_parameters) return ERROR_SUCCESS;
    // A status that couldn't be set isn't stored, so that the next update tries again. It is no failure.
    if (_DoAction(wanted->blockStatus) == ERROR_SUCCESS) m_parameters = *wanted;
    return ERROR_SUCCESS;
}

}  // namespace optimizer
