#pragma once

#include <string>
#include <vector>

#include "actions/action_with.h"
#include "border/host.h"

namespace optimizer {

/// Turns notification balloons off for every account of the machine, and on again. It has no values of its
/// own: the way back is always "on", and its note is no more than its name. One thread at a time.
class CDisableBalloonAction final : public ActionWithoutValues {
public:
    explicit CDisableBalloonAction(IServMain* main) : m_main(main) {}

    /// 0 when one account at least was written, 31 otherwise.
    uint32_t Start() override { return _ExecuteAction(false); }
    uint32_t Revert() override { return m_revertResult = _ExecuteAction(true); }
    uint32_t FinishRevert() override { return m_revertResult; }
    uint32_t PutBack() override { return Revert(); }
    bool IsNotedByName() const override { return true; }
    const wchar_t* GetName() override { return m_name.c_str(); }

private:
    uint32_t _ExecuteAction(bool enable);
    static uint32_t _GetUserSids(std::vector<std::wstring>& list);
    void _NotifyAgent();

    std::wstring m_name = L"DisableBalloon";
    std::vector<std::wstring> m_userSids;
    IServMain* m_main;
    uint32_t m_revertResult = 0;  // of the last Revert
};

}  // namespace optimizer
