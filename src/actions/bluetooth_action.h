#pragma once

#include <atomic>

#include "actions/action_with.h"
#include "actions/bluetooth_params.h"
#include "frame/handles.h"

namespace optimizer {

/// Turns the machine's Bluetooth adapters on or off. Start and Update run on the caller's thread and may take
/// long, since each device is changed in turn; Stop comes from another thread and takes effect after the
/// device in hand.
class CBluetoothAction final : public ActionWith<BluetoothParams> {
public:
    explicit CBluetoothAction(BluetoothParams parameters);

    /// 0, also when a device refused; 183 (ERROR_ALREADY_EXISTS) while an operation runs; 1223
    /// (ERROR_CANCELLED); or an error of the setup API.
    uint32_t Start() override;
    /// 0, also where there are no adapters, or the error for which their state can't be told.
    uint32_t Note(IOptimizerActionSettings* next) override;
    /// Blocks until a running Start or Update has ended. It doesn't wait for a Revert.
    uint32_t Stop() override;
    uint32_t Revert() override;
    uint32_t FinishRevert() override;
    uint32_t PutBack() override;
    /// 0, whatever became of the devices; runs for the same status again, too.
    uint32_t Update(IOptimizerActionSettings* parameters) override;
    const wchar_t* GetName() override { return L"Bluetooth"; }

private:
    /// Brings all adapters to a status. Nothing for None.
    uint32_t _Change(BluetoothStatus status);
    uint32_t _ChangeDevices(bool enable);

    std::atomic<uint32_t> m_cancelRequested = 0;  // 1 while Stop waits
    KernelHandle m_idle;                          // manual-reset: signalled when no operation runs
};

}  // namespace optimizer
