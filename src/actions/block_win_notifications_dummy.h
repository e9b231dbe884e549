#pragma once

#include <string>

#include "actions/action_with.h"

namespace optimizer {

/// Stands in on systems older than Windows 8, which know no such notifications. Does nothing.
class CBlockWinNotificationsDummy final : public ActionWithoutValues {
public:
    explicit CBlockWinNotificationsDummy(const wchar_t* name) : m_name(name) {}

    uint32_t Start() override { return 0; }
    uint32_t Revert() override { return 0; }
    const wchar_t* GetName() override { return m_name.c_str(); }
    /// A policy that is to be put back waits for a system that knows it: 50 (ERROR_NOT_SUPPORTED).
    uint32_t PutBack() override { return kNotSupported; }

private:
    static constexpr uint32_t kNotSupported = 50;  // ERROR_NOT_SUPPORTED

    std::wstring m_name;
};

}  // namespace optimizer
