#pragma once

#include "actions/action_with.h"

namespace optimizer {

/// Ejects removable storage. There is nothing to set and nothing to put back: what was ejected stays out
/// until somebody plugs it in again. One thread at a time; Start blocks while the system ejects.
class CUsbDevices final : public ActionWithoutValues {
public:
    /// 0, whatever happened: a drive that fails or refuses is skipped.
    uint32_t Start() override;
    uint32_t Revert() override { return 0; }
    /// Such a note was never made.
    uint32_t PutBack() override { return 0; }
    const wchar_t* GetName() override { return L"UsbDevices"; }
};

}  // namespace optimizer
