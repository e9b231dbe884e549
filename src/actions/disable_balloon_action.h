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

    /// 31 when one of the accounts isn't known to the system.
    uint32_t Note(IOptimizerActionSettings* next) override;
    /// 0 when one account at least was written, 31 otherwise.
    uint32_t Start() override { return _ExecuteAction(false); }
    uint32_t Revert() override { return _ExecuteAction(true); }
    /// An account without the setting's key has nothing to put back.
    uint32_t FinishRevert() override { return m_finished; }
    uint32_t PutBack() override {
        static_cast<void>(Revert());
        return m_finished;
    }
    bool IsNotedByName() const override { return true; }
    const wchar_t* GetName() override { return m_name.c_str(); }

private:
    uint32_t _ExecuteAction(bool enable);
    static uint32_t _GetUserSids(std::vector<std::wstring>& list);
    void _NotifyAgent();

    std::wstring m_name = L"DisableBalloon";
    std::vector<std::wstring> m_userSids;
    IServMain* m_main;
    uint32_t m_finished = 0;  // 0 when every account that has the setting was written the last time
};

}  // namespace optimizer
