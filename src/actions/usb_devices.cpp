#include "actions/usb_devices.h"

#include <cwchar>
#include <iterator>
#include <optional>

#include "actions/device_set.h"
#include "frame/trace.h"

#include <cfgmgr32.h>
#include <winioctl.h>

namespace optimizer {

namespace {

constexpr int kDriveCount = 26;
constexpr const wchar_t* kFloppyDevice = L"\\Floppy";

// GUID_DEVINTERFACE_DISK
constexpr GUID kDisk = {0x53F56307, 0xB6BF, 0x11D0, {0x94, 0xF2, 0x00, 0xA0, 0xC9, 0x1E, 0xFB, 0x8B}};

/// Removable media, apart from floppy drives. Nothing else tells a stick from other removable media.
bool IsToBeEjected(const std::wstring& drive) {
    if (GetDriveTypeW((drive + L"\\").c_str()) != DRIVE_REMOVABLE) return false;
    wchar_t device[MAX_PATH] = {};
    if (QueryDosDeviceW(drive.c_str(), device, MAX_PATH) == 0) return false;
    return std::wcsstr(device, kFloppyDevice) == nullptr;
}

/// The number of the disk behind a path of the device namespace, which isn't opened for reading.
std::optional<DWORD> GetDeviceNumber(const wchar_t* path) {
    const FileHandle file(
        CreateFileW(path, 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr));
    if (!file) return std::nullopt;
    STORAGE_DEVICE_NUMBER number = {};
    static_assert(sizeof(number) == 12);
    DWORD sizeBytes = 0;
    if (!DeviceIoControl(file.Get(), IOCTL_STORAGE_GET_DEVICE_NUMBER, nullptr, 0, &number, sizeof(number),
                         &sizeBytes, nullptr))
        return std::nullopt;
    return number.DeviceNumber;
}

/// The number of the disk behind a device interface, and its device; nothing when it can't be told.
std::optional<DWORD> GetInterfaceNumber(const DeviceSet& set, SP_DEVICE_INTERFACE_DATA& disk,
                                        SP_DEVINFO_DATA& device) {
    using Detail = SP_DEVICE_INTERFACE_DETAIL_DATA_W;
    static_assert(sizeof(Detail) == 8);
    DWORD sizeBytes = 0;
    SetupDiGetDeviceInterfaceDetailW(set.Get(), &disk, nullptr, 0, &sizeBytes, nullptr);
    if (sizeBytes < sizeof(Detail)) return std::nullopt;
    const LocalMemory memory(LocalAlloc(LPTR, sizeBytes));
    if (!memory) return std::nullopt;
    auto* const detail = static_cast<Detail*>(memory.Get());
    detail->cbSize = sizeof(Detail);
    if (!SetupDiGetDeviceInterfaceDetailW(set.Get(), &disk, detail, sizeBytes, nullptr, &device))
        return std::nullopt;
    return GetDeviceNumber(detail->DevicePath);
}

/// Only the device number is compared: neither the type of the device nor the partition.
std::optional<DEVINST> FindDisk(DWORD deviceNumber) {
    const DeviceSet set(
        SetupDiGetClassDevsW(&kDisk, nullptr, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE));
    if (!set) return std::nullopt;
    SP_DEVICE_INTERFACE_DATA disk = {};
    disk.cbSize = sizeof(disk);
    for (DWORD index = 0; SetupDiEnumDeviceInterfaces(set.Get(), nullptr, &kDisk, index, &disk); ++index) {
        SP_DEVINFO_DATA device = EmptyDevice();
        if (GetInterfaceNumber(set, disk, device) == deviceNumber) return device.DevInst;
    }
    return std::nullopt;
}

/// Ejects the disk's parent, which for a USB disk is the USB device. A refusal passes unnoticed.
void Eject(DEVINST disk) {
    DEVINST parent = 0;
    if (CM_Get_Parent(&parent, disk, 0) != CR_SUCCESS) return;
    PNP_VETO_TYPE vetoType = PNP_VetoTypeUnknown;
    wchar_t vetoName[MAX_PATH] = {};
    CM_Request_Device_EjectW(parent, &vetoType, vetoName, static_cast<ULONG>(std::size(vetoName)), 0);
}

}  // namespace

uint32_t CUsbDevices::Start() {
    TRACE_SCOPE("CUsbDevices::Start");
    for (int index = 0; index < kDriveCount; ++index) {
        const std::wstring drive = {static_cast<wchar_t>(L'A' + index), L':'};
        if (!IsToBeEjected(drive)) continue;
        const auto number = GetDeviceNumber((L"\\\\.\\" + drive).c_str());
        if (!number) continue;
        const auto disk = FindDisk(*number);
        constexpr DEVINST kNoDevice = 0xFFFFFFFF;
        if (disk && *disk != kNoDevice) Eject(*disk);
    }
    return 0;
}

}  // namespace optimizer
