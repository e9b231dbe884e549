#include "tests/actions/simulated_devices.h"

#include <cstring>

#include <setupapi.h>

#include <cfgmgr32.h>
#include <winioctl.h>

namespace test_support {

namespace {

constexpr auto& g_devices = SimulatedDevices::s_current;
constexpr GUID kAdapters = {0x0850302A, 0xB344, 0x4FDA, {0x9B, 0xE9, 0x90, 0x57, 0x6B, 0x8D, 0x46, 0xF0}};
constexpr GUID kDisks = {0x53F56307, 0xB6BF, 0x11D0, {0x94, 0xF2, 0x00, 0xA0, 0xC9, 0x1E, 0xFB, 0x8B}};
const auto kSet = reinterpret_cast<HDEVINFO>(uintptr_t{1});

DWORD g_wantedState = 0;  // of the last SetupDiSetClassInstallParams
DWORD g_diskNumber = 0;   // of the file opened last

BOOL Fail(DWORD error) {
    SetLastError(error);
    return FALSE;
}

SimulatedDevices::Adapter& AdapterOf(const SP_DEVINFO_DATA* device) {
    return g_devices->adapters[device->DevInst];
}

HDEVINFO WINAPI OpenSet(const GUID* guid, PCWSTR, HWND, DWORD flags) {
    const bool known = (*guid == kAdapters && flags == 16) || (*guid == kDisks && flags == 18);
    const DWORD error = known ? g_devices->errors[L"open"] : ERROR_INVALID_PARAMETER;
    if (error != 0) return Fail(error), INVALID_HANDLE_VALUE;
    ++g_devices->openSets;
    return kSet;
}

BOOL WINAPI CloseSet(HDEVINFO) {
    --g_devices->openSets;
    return TRUE;
}

BOOL WINAPI EnumAdapters(HDEVINFO, DWORD index, PSP_DEVINFO_DATA device) {
    if (device->cbSize != 32) return Fail(ERROR_INVALID_PARAMETER);
    if (index >= g_devices->adapters.size()) {
        const DWORD error = g_devices->errors[L"enumerate"];
        return Fail(error != 0 ? error : ERROR_NO_MORE_ITEMS);
    }
    device->DevInst = index;
    device->ClassGuid = AdapterOf(device).classGuid;
    return TRUE;
}

BOOL WINAPI AdapterProperty(HDEVINFO, PSP_DEVINFO_DATA device, DWORD property, PDWORD, PBYTE buffer,
                            DWORD sizeBytes, PDWORD neededBytes) {
    const auto& adapter = AdapterOf(device);
    const bool isFlags = property == 10;
    const std::wstring description = adapter.description;
    if (isFlags ? adapter.hidesFlags : description.empty()) return Fail(ERROR_INVALID_DATA);
    const DWORD needed = isFlags ? 4 : static_cast<DWORD>(description.size() + 1) * DWORD{sizeof(wchar_t)};
    if (neededBytes != nullptr) *neededBytes = needed;
    if (sizeBytes < needed) return Fail(ERROR_INSUFFICIENT_BUFFER);
    std::memcpy(buffer, isFlags ? static_cast<const void*>(&adapter.flags) : description.c_str(), needed);
    return TRUE;
}

BOOL WINAPI SetChange(HDEVINFO, PSP_DEVINFO_DATA, PSP_CLASSINSTALL_HEADER header, DWORD sizeBytes) {
    const auto* const params = reinterpret_cast<const SP_PROPCHANGE_PARAMS*>(header);
    if (sizeBytes != 20 || header->cbSize != 8 || header->InstallFunction != 18 || params->Scope != 1)
        return Fail(ERROR_INVALID_PARAMETER);
    g_wantedState = params->StateChange;
    return TRUE;
}

BOOL WINAPI Change(HDEVINFO, PSP_DEVINFO_DATA device) {
    if (g_devices->onChange) g_devices->onChange(device->DevInst);
    if (AdapterOf(device).refuses) return Fail(ERROR_ACCESS_DENIED);
    AdapterOf(device).flags = g_wantedState == DICS_DISABLE ? 1 : 0;
    return TRUE;
}

BOOL WINAPI EnumDisks(HDEVINFO, PSP_DEVINFO_DATA, const GUID*, DWORD index, PSP_DEVICE_INTERFACE_DATA disk) {
    if (index >= g_devices->disks.size()) return Fail(ERROR_NO_MORE_ITEMS);
    disk->Reserved = index;
    return TRUE;
}

BOOL WINAPI DiskDetail(HDEVINFO, PSP_DEVICE_INTERFACE_DATA disk, PSP_DEVICE_INTERFACE_DETAIL_DATA_W detail,
                       DWORD sizeBytes, PDWORD neededBytes, PSP_DEVINFO_DATA device) {
    const std::wstring& path = g_devices->disks[disk->Reserved];
    const DWORD needed = static_cast<DWORD>(sizeof(DWORD) + (path.size() + 1) * sizeof(wchar_t));
    if (neededBytes != nullptr) *neededBytes = needed;
    if (sizeBytes < needed) return Fail(ERROR_INSUFFICIENT_BUFFER);
    if (detail->cbSize != 8 || device->cbSize != 32) return Fail(ERROR_INVALID_PARAMETER);
    std::memcpy(detail->DevicePath, path.c_str(), needed - sizeof(DWORD));
    device->DevInst = static_cast<DWORD>(disk->Reserved);
    return TRUE;
}

CONFIGRET WINAPI Parent(PDEVINST parent, DEVINST device, ULONG) {
    *parent = device + 100;
    return g_devices->errors[L"parent"];
}

CONFIGRET WINAPI Eject(DEVINST device, PPNP_VETO_TYPE, LPWSTR, ULONG, ULONG) {
    g_devices->ejected.push_back(device);
    return CR_REMOVE_VETOED;
}

UINT WINAPI DriveType(LPCWSTR root) {
    const auto found = g_devices->drives.find(std::wstring(root).substr(0, 2));
    return found != g_devices->drives.end() ? found->second.type : DRIVE_NO_ROOT_DIR;
}

DWORD WINAPI DeviceName(LPCWSTR drive, LPWSTR buffer, DWORD size) {
    const std::wstring& name = g_devices->drives.at(drive).device;
    name.copy(buffer, size);
    return static_cast<DWORD>(name.size());
}

HANDLE WINAPI OpenFileByName(LPCWSTR path, DWORD access, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE) {
    const auto found = g_devices->files.find(path);
    if (access != 0 || found == g_devices->files.end()) return INVALID_HANDLE_VALUE;
    g_diskNumber = found->second;
    return CreateEventW(nullptr, TRUE, FALSE, nullptr);  // any handle that can be closed
}

BOOL WINAPI AskDevice(HANDLE, DWORD code, LPVOID, DWORD, LPVOID out, DWORD, LPDWORD, LPOVERLAPPED) {
    if (code != 0x2D1080 || g_diskNumber == 0) return FALSE;
    static_cast<STORAGE_DEVICE_NUMBER*>(out)->DeviceNumber = g_diskNumber;
    return TRUE;
}

}  // namespace
}  // namespace test_support

extern "C" {
decltype(&SetupDiGetClassDevsW) __imp_SetupDiGetClassDevsW = &test_support::OpenSet;
decltype(&SetupDiDestroyDeviceInfoList) __imp_SetupDiDestroyDeviceInfoList = &test_support::CloseSet;
decltype(&SetupDiEnumDeviceInfo) __imp_SetupDiEnumDeviceInfo = &test_support::EnumAdapters;
decltype(&SetupDiGetDeviceRegistryPropertyW) __imp_SetupDiGetDeviceRegistryPropertyW =
    &test_support::AdapterProperty;
decltype(&SetupDiSetClassInstallParamsW) __imp_SetupDiSetClassInstallParamsW = &test_support::SetChange;
decltype(&SetupDiChangeState) __imp_SetupDiChangeState = &test_support::Change;
decltype(&SetupDiEnumDeviceInterfaces) __imp_SetupDiEnumDeviceInterfaces = &test_support::EnumDisks;
decltype(&SetupDiGetDeviceInterfaceDetailW) __imp_SetupDiGetDeviceInterfaceDetailW =
    &test_support::DiskDetail;
decltype(&CM_Get_Parent) __imp_CM_Get_Parent = &test_support::Parent;
decltype(&CM_Request_Device_EjectW) __imp_CM_Request_Device_EjectW = &test_support::Eject;
decltype(&GetDriveTypeW) __imp_GetDriveTypeW = &test_support::DriveType;
decltype(&QueryDosDeviceW) __imp_QueryDosDeviceW = &test_support::DeviceName;
decltype(&CreateFileW) __imp_CreateFileW = &test_support::OpenFileByName;
decltype(&DeviceIoControl) __imp_DeviceIoControl = &test_support::AskDevice;
}
