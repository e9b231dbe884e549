// Which drives are ejected, and that every failure skips only its own drive.
#include "actions/usb_devices.h"

#include <gtest/gtest.h>

#include "tests/actions/simulated_devices.h"

namespace optimizer {
namespace {

TEST(UsbDevices, RemovableDisksAreEjectedAndEverythingElseIsLeftAlone) {
    test_support::SimulatedDevices devices;
    devices.disks = {L"unreadable", L"disk3", L"disk7", L"disk7again"};
    devices.files = {{L"disk3", 3}, {L"disk7", 7}, {L"disk7again", 7}};
    const std::wstring disk = L"\\Device\\HarddiskVolume9";
    const struct {
        const wchar_t* drive;
        UINT type;
        std::wstring device;
        DWORD number;
    } drives[] = {
        {L"A:", DRIVE_REMOVABLE, L"\\Device\\Floppy0", 7},
        {L"B:", DRIVE_REMOVABLE, L"\\Device\\floppy0", 7},
        {L"C:", DRIVE_FIXED, disk, 3},
        {L"D:", DRIVE_REMOVABLE, L"", 7},
        {L"E:", DRIVE_REMOVABLE, disk, 0},
        {L"F:", DRIVE_REMOVABLE, disk, 5},
        {L"Y:", DRIVE_REMOVABLE, disk, 7},
        {L"Z:", DRIVE_REMOVABLE, disk, 3},
    };
    for (const auto& row : drives) {
        devices.drives[row.drive] = {.type = row.type, .device = row.device};
        devices.files[std::wstring(L"\\\\.\\") + row.drive] = row.number;
    }
    CUsbDevices action;
    EXPECT_EQ(action.Start(), 0u);
    EXPECT_EQ(devices.ejected, (std::vector<DWORD>{102, 102, 101}));
    EXPECT_EQ(devices.openSets, 0);

    for (const wchar_t* failure : {L"open", L"parent"}) {
        devices.ejected.clear();
        devices.errors = {{failure, 13}};
        EXPECT_EQ(action.Start(), 0u);
        EXPECT_TRUE(devices.ejected.empty());
    }
}

}  // namespace
}  // namespace optimizer
