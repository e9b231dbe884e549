#pragma once

#include <string>

#include "actions/optimizer_action.h"

namespace optimizer {

/// Stands in on systems older than Windows 8, which know no such notifications. Does nothing.
class CBlockWinNotificationsDummy final : public IOptimizerAction {
public:
    explicit CBlockWinNotificationsDummy(const wchar_t* name) : m_name(name) {}

    uint32_t Start() override { return 0; }
    uint32_t Stop() override { return 0; }
    uint32_t Revert() override { return 0; }
    uint32_t Update(IOptimizerActionSettings*) override { return 0; }
    bool HasSameParameters(IOptimizerActionSettings*) override { return true; }
    IOptimizerActionSettings* GetParameters() override { return nullptr; }
    IOptimizerActionSettings* GetRevertParameters() override { return nullptr; }
    uint32_t SetRevertParameters(IOptimizerActionSettings*) override { return 0; }
    const wchar_t* GetName() override { return m_name.c_str(); }

private:
    std::wstring m_name;
};

}  // namespace optimizer
