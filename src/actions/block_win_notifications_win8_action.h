#pragma once

#include <string>

#include "actions/action_with.h"
#include "actions/block_win_notifications_params.h"
#include "border/host.h"

namespace optimizer {

/// Sets the user's policy on notifications, on Windows 8 and later, and has the agents tell the session of
/// it. One thread at a time.
class CBlockWinNotificationsWin8Action final : public ActionWith<BlockWinNotificationsParams> {
public:
    CBlockWinNotificationsWin8Action(const wchar_t* name, BlockWinNotificationsParams parameters,
                                     IServMain* main);

    /// 0; 31 when the user can't be found; or the registry's error.
    uint32_t Note(IOptimizerActionSettings* next) override;
    /// 31 when the user can't be found; otherwise the code of the agents' message, or of the registry where
    /// there are no agents to tell.
    uint32_t Start() override;
    /// 31, always.
    uint32_t Revert() override;
    uint32_t FinishRevert() override { return m_policyIsSet ? 0 : kNotBack; }
    /// 87 for parameters of another type, 0 otherwise.
    uint32_t Update(IOptimizerActionSettings* parameters) override;
    const wchar_t* GetName() override { return m_name.c_str(); }
    /// The policy alone counts: the result is the agents', who need not be there.
    uint32_t PutBack() override;
    bool BelongsToUser() const override { return true; }
    bool ActFor(const std::wstring& sid) override {
        m_actsFor = sid;
        return true;
    }

private:
    static constexpr uint32_t kNotBack = 31;  // ERROR_GEN_FAILURE

    uint32_t _FindUser();
    uint32_t _TakeSnapshot();
    uint32_t _DoAction(BlockStatus status);
    uint32_t _ApplyStatus(BlockStatus status);
    void _DeleteToastPolicy();
    uint32_t _SetToastPolicyStatus(bool value);
    uint32_t _CreateToastPolicyRegKey();
    std::wstring _PolicyPath() const { return m_userSid + L"\\" + m_policyKey; }

    std::wstring m_userSid;  // empty until the first Note or Start that found the user
    std::wstring m_actsFor;  // the user whom the note is of; empty for the interactive one
    std::wstring m_policyKey = L"Software\\Policies\\Microsoft\\Windows\\CurrentVersion\\PushNotifications";
    std::wstring m_policyValue = L"NoToastApplicationNotification";
    // The form in which a policy file asks for the value's deletion. No operation needs it: "not configured"
    // takes the whole key.
    std::wstring m_policyDeleteValue = L"**del.NoToastApplicationNotification";
    std::wstring m_name;
    IServMain* m_main;
    bool m_policyIsSet = false;  // as the last operation wanted it
};

}  // namespace optimizer
