#pragma once

#include <string>

#include "actions/block_win_notifications_params.h"
#include "border/host.h"

namespace optimizer {

/// Blocks or allows the notifications that pop up from the edge of the screen, for the interactive user.
/// Forwards everything to the action that fits the system.
class CBlockWinNotificationsAction final : public IOptimizerAction {
public:
    CBlockWinNotificationsAction(const BlockWinNotificationsParams& parameters, IServMain* main);

    uint32_t Note(IOptimizerActionSettings* next) override { return m_inner->Note(next); }
    uint32_t Start() override { return m_inner->Start(); }
    uint32_t Stop() override { return m_inner->Stop(); }
    uint32_t Revert() override { return m_inner->Revert(); }
    uint32_t FinishRevert() override { return m_inner->FinishRevert(); }
    uint32_t PutBack() override { return m_inner->PutBack(); }
    uint32_t Update(IOptimizerActionSettings* parameters) override { return m_inner->Update(parameters); }
    bool HasSameParameters(IOptimizerActionSettings* parameters) override {
        return m_inner->HasSameParameters(parameters);
    }
    IOptimizerActionSettings* GetParameters() override { return m_inner->GetParameters(); }
    IOptimizerActionSettings* GetRevertParameters() override { return m_inner->GetRevertParameters(); }
    uint32_t SetRevertParameters(IOptimizerActionSettings* parameters) override {
        return m_inner->SetRevertParameters(parameters);
    }
    const wchar_t* GetName() override { return m_inner->GetName(); }
    bool BelongsToUser() const override { return true; }
    bool ActFor(const std::wstring& sid) override { return m_inner->ActFor(sid); }

private:
    IOptimizerAction* m_inner;  // left allocated on purpose: whoever was handed its parameters may keep them
    std::wstring m_name = L"BlockWinNotification";
};

}  // namespace optimizer
