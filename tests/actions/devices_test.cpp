// The actions on devices, over adapters and drives in memory that stand in for the setup,
// configuration-manager and storage calls: who is changed or ejected, what a refusal costs, and a cancel from
// a second thread.
#include <cstring>
#include <functional>
#include <map>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "actions/bluetooth_action.h"
#include "actions/usb_devices.h"

#include <setupapi.h>

#include <cfgmgr32.h>
#include <winioctl.h>

namespace {

struct Adapter {
    ULONG classNumber = 0;
    DWORD flags = 0;  // 1: disabled
    bool isUnreadable = false;
    bool refuses = false;
};
struct Drive {
    const wchar_t* name;
    UINT type;
    const wchar_t* device;
    DWORD disk;  // 0: it doesn't tell
};

struct Machine {
    std::vector<Adapter> adapters;
    std::vector<Drive> drives;
    std::vector<DWORD> disks;  // their numbers; the parent of the nth is device n + 100
    std::vector<DEVINST> ejected;
    std::function<void(size_t index)> onChange;
    DWORD wantedState = 0;
    DWORD openedDisk = 0;
    int openSets = 0;
} g_machine;

thread_local bool g_isStopper = false;
HANDLE g_stopperWaits = nullptr;

const Drive* DriveOf(const std::wstring& path) {
    for (const Drive& drive : g_machine.drives)
        if (path.find(drive.name) != std::wstring::npos) return &drive;
    return nullptr;
}

}  // namespace

extern "C" {
decltype(&WaitForSingleObject) __imp_WaitForSingleObject = [](HANDLE handle, DWORD ms) {
    if (g_isStopper && ms == INFINITE) SetEvent(g_stopperWaits);
    return WaitForSingleObjectEx(handle, ms, FALSE);
};
decltype(&SetupDiGetClassDevsW) __imp_SetupDiGetClassDevsW = [](const GUID* guid, PCWSTR, HWND, DWORD flags) {
    const DWORD known = guid->Data1 == 0x0850302A ? DWORD{16} : DWORD{18};
    return flags == known ? reinterpret_cast<HDEVINFO>(intptr_t{++g_machine.openSets}) : INVALID_HANDLE_VALUE;
};
decltype(&SetupDiDestroyDeviceInfoList) __imp_SetupDiDestroyDeviceInfoList = [](HDEVINFO) {
    return BOOL{--g_machine.openSets >= 0};
};
decltype(&SetupDiEnumDeviceInfo) __imp_SetupDiEnumDeviceInfo = [](HDEVINFO, DWORD index,
                                                                  PSP_DEVINFO_DATA device) {
    SetLastError(ERROR_NO_MORE_ITEMS);
    device->DevInst = index;
    if (index < g_machine.adapters.size()) device->ClassGuid.Data1 = g_machine.adapters[index].classNumber;
    return BOOL{index < g_machine.adapters.size()};
};
decltype(&SetupDiGetDeviceRegistryPropertyW) __imp_SetupDiGetDeviceRegistryPropertyW =
    [](HDEVINFO, PSP_DEVINFO_DATA device, DWORD property, PDWORD, PBYTE out, DWORD sizeBytes, PDWORD) {
        const Adapter& adapter = g_machine.adapters[device->DevInst];
        if (sizeBytes == sizeof(DWORD)) std::memcpy(out, &adapter.flags, sizeBytes);
        return BOOL{property == 10 && !adapter.isUnreadable};
    };
decltype(&SetupDiSetClassInstallParamsW) __imp_SetupDiSetClassInstallParamsW =
    [](HDEVINFO, PSP_DEVINFO_DATA, PSP_CLASSINSTALL_HEADER header, DWORD sizeBytes) {
        const auto* const params = reinterpret_cast<const SP_PROPCHANGE_PARAMS*>(header);
        g_machine.wantedState = params->StateChange;
        return BOOL{sizeBytes == 20 && header->cbSize == 8 && header->InstallFunction == 18 &&
                    params->Scope == 1};
    };
decltype(&SetupDiChangeState) __imp_SetupDiChangeState = [](HDEVINFO, PSP_DEVINFO_DATA device) {
    if (g_machine.onChange) g_machine.onChange(device->DevInst);
    Adapter& adapter = g_machine.adapters[device->DevInst];
    if (!adapter.refuses) adapter.flags = g_machine.wantedState == DICS_DISABLE ? 1 : 0;
    return BOOL{!adapter.refuses};
};
decltype(&SetupDiEnumDeviceInterfaces) __imp_SetupDiEnumDeviceInterfaces =
    [](HDEVINFO, PSP_DEVINFO_DATA, const GUID*, DWORD index, PSP_DEVICE_INTERFACE_DATA disk) {
        disk->Reserved = index;
        return BOOL{index < g_machine.disks.size()};
    };
decltype(&SetupDiGetDeviceInterfaceDetailW) __imp_SetupDiGetDeviceInterfaceDetailW =
    [](HDEVINFO, PSP_DEVICE_INTERFACE_DATA disk, PSP_DEVICE_INTERFACE_DETAIL_DATA_W detail, DWORD,
       PDWORD needed, PSP_DEVINFO_DATA device) {
        if (detail == nullptr) return BOOL{(*needed = 8) == 0};
        detail->DevicePath[0] = static_cast<wchar_t>(g_machine.disks[disk->Reserved]);
        device->DevInst = static_cast<DEVINST>(disk->Reserved);
        return BOOL{detail->cbSize == 8 && device->cbSize == 32};
    };
decltype(&CM_Get_Parent) __imp_CM_Get_Parent = [](PDEVINST parent, DEVINST device, ULONG) -> CONFIGRET {
    *parent = device + 100;
    return CR_SUCCESS;
};
decltype(&CM_Request_Device_EjectW) __imp_CM_Request_Device_EjectW = [](DEVINST device, PPNP_VETO_TYPE,
                                                                        LPWSTR, ULONG, ULONG) -> CONFIGRET {
    g_machine.ejected.push_back(device);
    return CR_REMOVE_VETOED;
};
decltype(&GetDriveTypeW) __imp_GetDriveTypeW = [](LPCWSTR root) {
    const Drive* const drive = DriveOf(root);
    return drive != nullptr ? drive->type : DRIVE_NO_ROOT_DIR;
};
decltype(&QueryDosDeviceW) __imp_QueryDosDeviceW = [](LPCWSTR name, LPWSTR buffer, DWORD size) {
    return static_cast<DWORD>(std::wstring(DriveOf(name)->device).copy(buffer, size));
};
decltype(&CreateFileW) __imp_CreateFileW = [](LPCWSTR path, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD,
                                              HANDLE) {
    const Drive* const drive = DriveOf(path);
    g_machine.openedDisk = drive != nullptr ? drive->disk : path[0];
    return CreateEventW(nullptr, TRUE, FALSE, nullptr);  // any handle that can be closed
};
decltype(&DeviceIoControl) __imp_DeviceIoControl = [](HANDLE, DWORD code, LPVOID, DWORD, LPVOID out, DWORD,
                                                      LPDWORD, LPOVERLAPPED) {
    static_cast<STORAGE_DEVICE_NUMBER*>(out)->DeviceNumber = g_machine.openedDisk;
    return BOOL{code == 0x2D1080 && g_machine.openedDisk != 0};
};
}

namespace optimizer {
namespace {

using enum BluetoothStatus;

class Devices : public testing::Test {
protected:
    ~Devices() override {
        EXPECT_EQ(g_machine.openSets, 0);
        g_machine = {};
    }
    static CBluetoothAction MakeAction(BluetoothStatus status) {
        BluetoothParams parameters;
        parameters.status = status;
        return CBluetoothAction(parameters);
    }
    static std::vector<DWORD> Flags() {
        std::vector<DWORD> flags;
        for (const Adapter& adapter : g_machine.adapters)
            flags.push_back(adapter.flags);
        return flags;
    }
};

TEST_F(Devices, RemovableDisksAreEjectedAndEverythingElseIsLeftAlone) {
    const auto* const volume = L"\\Device\\Volume9";
    g_machine.disks = {3, 0, 7, 7};
    g_machine.drives = {{L"A:", DRIVE_REMOVABLE, L"\\Device\\Floppy0", 7},
                        {L"B:", DRIVE_REMOVABLE, L"\\floppy", 7},
                        {L"C:", DRIVE_FIXED, volume, 3},
                        {L"D:", DRIVE_REMOVABLE, L"", 7},
                        {L"E:", DRIVE_REMOVABLE, volume, 0},
                        {L"F:", DRIVE_REMOVABLE, volume, 5},
                        {L"Y:", DRIVE_REMOVABLE, volume, 7},
                        {L"Z:", DRIVE_REMOVABLE, volume, 3}};
    EXPECT_EQ(CUsbDevices().Start(), 0u);
    EXPECT_EQ(g_machine.ejected, (std::vector<DEVINST>{102, 102, 100}));
}

TEST_F(Devices, ARefusalStopsNothingAndACancelTakesEffectAfterTheAdapterInHand) {
    g_machine.adapters = {{}, {.refuses = true}, {}};
    CBluetoothAction action = MakeAction(Off);
    EXPECT_EQ(action.Start(), 0u);
    EXPECT_EQ(Flags(), (std::vector<DWORD>{1, 0, 1}));
    EXPECT_EQ(action.Start(), 0u);
    EXPECT_EQ(action.Revert(), 0u) << "to what the first start found";
    EXPECT_EQ(Flags(), (std::vector<DWORD>{0, 0, 0}));

    const KernelHandle stopperWaits(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    g_stopperWaits = stopperWaits.Get();
    std::thread stopper;
    g_machine.onChange = [&](size_t index) {
        EXPECT_EQ(action.Start(), 183u) << "one at a time";
        if (index != 1) return;
        stopper = std::thread([&] {
            g_isStopper = true;
            EXPECT_EQ(action.Stop(), 0u);
        });
        EXPECT_EQ(WaitForSingleObjectEx(g_stopperWaits, 10000, FALSE), DWORD{WAIT_OBJECT_0});
    };
    EXPECT_EQ(action.Start(), 1223u);
    stopper.join();
    EXPECT_EQ(Flags(), (std::vector<DWORD>{1, 0, 0})) << "what has changed stays changed";
    g_machine.onChange = nullptr;
    EXPECT_EQ(action.Update(action.GetParameters()), 0u);
    EXPECT_EQ(Flags(), (std::vector<DWORD>{1, 0, 1}))
        << "the cancel is over, and the same status is set again";
}

}  // namespace
}  // namespace optimizer
