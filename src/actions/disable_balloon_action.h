#pragma once

#include <string>
#include <vector>

#include "actions/optimizer_action.h"
#include "border/host.h"

namespace optimizer {

/// Turns notification balloons off for every account of the machine, and on again. It has no values of its
/// own and notes nothing: the way back is always "on". One thread at a time.
class CDisableBalloonAction final : public IOptimizerAction {
public:
    explicit CDisableBalloonAction(IServMain* main) : m_main(main) {}

    /// 0 when one account at least was written, 31 otherwise.
    uint32_t Start() override { return _ExecuteAction(false); }
    uint32_t Stop() override { return 0; }
    uint32_t Revert() override { return _ExecuteAction(true); }
    uint32_t Update(IOptimizerActionSettings*) override { return 0; }
    bool HasSameParameters(IOptimizerActionSettings*) override { return true; }
    IOptimizerActionSettings* GetParameters() override { return nullptr; }
    IOptimizerActionSettings* GetRevertParameters() override { return nullptr; }
    uint32_t SetRevertParameters(IOptimizerActionSettings*) override { return 0; }
    const wchar_t* GetName() override { return m_name.c_str(); }

private:
    uint32_t _ExecuteAction(bool enable);
    static uint32_t _GetUserSids(std::vector<std::wstring>& list);
    void _NotifyAgent();

    std::wstring m_name = L"DisableBalloon";
    std::vector<std::wstring> m_userSids;
    IServMain* m_main;
};

}  // namespace optimizer
