#include "actions/bluetooth_action.h"

#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "actions/device_set.h"
#include "frame/trace.h"

namespace optimizer {

namespace {

// GUID_BTHPORT_DEVICE_INTERFACE
constexpr GUID kBluetoothPort = {
    0x0850302A, 0xB344, 0x4FDA, {0x9B, 0xE9, 0x90, 0x57, 0x6B, 0x8D, 0x46, 0xF0}};

struct GuidOrder {
    bool operator()(const GUID& left, const GUID& right) const {
        return std::memcmp(&left, &right, sizeof(GUID)) < 0;
    }
};

/// The event is unsignalled as long as this lives.
class BusyMark {
public:
    explicit BusyMark(HANDLE idle) : m_idle(idle) { ResetEvent(m_idle); }
    ~BusyMark() { SetEvent(m_idle); }
    BusyMark(const BusyMark&) = delete;
    BusyMark& operator=(const BusyMark&) = delete;

private:
    HANDLE m_idle;
};

uint32_t OpenAdapters(DeviceSet& set) {
    TRACE_SCOPE("CBluetoothAction::OpenAdapters");
    set.Reset(SetupDiGetClassDevsW(&kBluetoothPort, nullptr, nullptr, DIGCF_DEVICEINTERFACE));
    const DWORD error = GetLastError();
    if (set) return ERROR_SUCCESS;
    TRACE_LINE(trace::kError, L"SetupDiGetClassDevs failed 0x%x", error);
    return error;
}

/// Nothing when the device has none or it can't be read.
std::optional<std::wstring> GetDeviceDescr(const DeviceSet& set, SP_DEVINFO_DATA& device) {
    TRACE_SCOPE("CBluetoothAction::GetDeviceDescr");
    DWORD sizeBytes = 0;
    if (!SetupDiGetDeviceRegistryPropertyW(set.Get(), &device, SPDRP_DEVICEDESC, nullptr, nullptr, 0,
                                           &sizeBytes)) {
        const DWORD error = GetLastError();
        if (error != ERROR_INSUFFICIENT_BUFFER) {
            TRACE_LINE(trace::kWarning, L"SetupDiGetDeviceRegistryProperty req data size failed 0x%x", error);
            return std::nullopt;
        }
    }
    // One more, so that the text ends in any case.
    std::vector<wchar_t> text(sizeBytes / sizeof(wchar_t) + 1);
    if (!SetupDiGetDeviceRegistryPropertyW(set.Get(), &device, SPDRP_DEVICEDESC, nullptr,
                                           reinterpret_cast<BYTE*>(text.data()), sizeBytes, nullptr)) {
        const DWORD error = GetLastError();
        TRACE_LINE(trace::kWarning, L"SetupDiGetDeviceRegistryProperty req data failed 0x%x", error);
        return std::nullopt;
    }
    return text.data();
}

std::wstring DescribeDevice(const DeviceSet& set, SP_DEVINFO_DATA& device) {
    return GetDeviceDescr(set, device).value_or(L"UNKNOWN");
}

bool GetDeviceStatus(const DeviceSet& set, SP_DEVINFO_DATA& device, bool& enabled) {
    TRACE_SCOPE("CBluetoothAction::GetDeviceStatus");
    TRACE_LINE(trace::kInformation, L"device descr=[%s]", DescribeDevice(set, device).c_str());
    DWORD flags = 0;
    if (!SetupDiGetDeviceRegistryPropertyW(set.Get(), &device, SPDRP_CONFIGFLAGS, nullptr,
                                           reinterpret_cast<BYTE*>(&flags), sizeof(flags), nullptr)) {
        const DWORD error = GetLastError();
        TRACE_LINE(trace::kWarning, L"SetupDiGetDeviceRegistryProperty req data failed 0x%x", error);
        return false;
    }
    constexpr DWORD kDisabled = 1;  // CONFIGFLAG_DISABLED
    enabled = (flags & kDisabled) == 0;
    return true;
}

/// Calls `visit` with the status of each adapter, None for one that can't be read. 0 or why there is an end
/// to it before all were visited.
template <class Visit>
uint32_t VisitAdapters(Visit visit) {
    TRACE_SCOPE("CBluetoothAction::VisitAdapters");
    DeviceSet set;
    if (const uint32_t error = OpenAdapters(set); error != ERROR_SUCCESS) return error;
    SP_DEVINFO_DATA device = EmptyDevice();
    for (DWORD index = 0; SetupDiEnumDeviceInfo(set.Get(), index, &device); ++index) {
        bool enabled = false;
        BluetoothStatus status = BluetoothStatus::None;
        if (GetDeviceStatus(set, device, enabled)) {
            status = enabled ? BluetoothStatus::On : BluetoothStatus::Off;
        } else {
            TRACE_LINE(trace::kWarning, L"GetDeviceStatus failed");
        }
        visit(device.ClassGuid, status);
    }
    const DWORD error = GetLastError();
    return error == ERROR_NO_MORE_ITEMS ? uint32_t{ERROR_SUCCESS} : error;
}

/// None when it can't be told, which `error` tells then, or there is no adapter.
BluetoothStatus Snapshot(uint32_t& error) {
    TRACE_SCOPE("CBluetoothAction::Snapshot");
    // Devices of one class count as one; the first stands for them.
    std::map<GUID, BluetoothStatus, GuidOrder> found;
    error = VisitAdapters([&](const GUID& kind, BluetoothStatus status) { found.emplace(kind, status); });
    if (error != ERROR_SUCCESS) return BluetoothStatus::None;
    for (const auto& entry : found) {
        if (entry.second != BluetoothStatus::None) return entry.second;
    }
    if (!found.empty()) error = ERROR_GEN_FAILURE;
    return BluetoothStatus::None;
}

bool ChangeDevice(const DeviceSet& set, SP_DEVINFO_DATA& device, bool enable) {
    TRACE_SCOPE("CBluetoothAction::ChangeDevice");
    const std::wstring name = DescribeDevice(set, device);
    TRACE_LINE(trace::kInformation, L"device descr=[%s] %s", name.c_str(), enable ? L"ENABLE" : L"DISABLE");
    SP_PROPCHANGE_PARAMS params = {};
    static_assert(sizeof(params) == 20);
    params.ClassInstallHeader.cbSize = sizeof(params.ClassInstallHeader);
    params.ClassInstallHeader.InstallFunction = DIF_PROPERTYCHANGE;
    params.StateChange = enable ? DICS_ENABLE : DICS_DISABLE;
    params.Scope = DICS_FLAG_GLOBAL;
    if (!SetupDiSetClassInstallParamsW(set.Get(), &device, &params.ClassInstallHeader, sizeof(params))) {
        const DWORD error = GetLastError();
        TRACE_LINE(trace::kWarning, L"SetupDiSetClassInstallParams [%s] failed 0x%x", name.c_str(), error);
        return false;
    }
    if (!SetupDiChangeState(set.Get(), &device)) {
        const DWORD error = GetLastError();
        TRACE_LINE(trace::kWarning, L"SetupDiChangeState [%s] failed 0x%x", name.c_str(), error);
        return false;
    }
    return true;
}

}  // namespace

CBluetoothAction::CBluetoothAction(BluetoothParams parameters)
    : ActionWith(std::move(parameters)), m_idle(CreateEventW(nullptr, TRUE, TRUE, nullptr)) {}

uint32_t CBluetoothAction::Start() {
    TRACE_SCOPE("CBluetoothAction::Start");
    if (WaitForSingleObject(m_idle.Get(), 0) == WAIT_TIMEOUT) return ERROR_ALREADY_EXISTS;
    const BusyMark busy(m_idle.Get());
    if (m_revertParameters == nullptr) {
        m_revertParameters = std::make_unique<BluetoothParams>();
        uint32_t ignored = ERROR_SUCCESS;
        m_revertParameters->status = Snapshot(ignored);
    }
    if (m_cancelRequested == 1) return ERROR_CANCELLED;
    return _Change(m_parameters.status);
}

uint32_t CBluetoothAction::Note(IOptimizerActionSettings*) {
    TRACE_SCOPE("CBluetoothAction::Note");
    // An adapter may have come since there was none to note.
    const bool isNoted = m_revertParameters != nullptr && m_revertParameters->status != BluetoothStatus::None;
    if (isNoted) return ERROR_SUCCESS;
    uint32_t error = ERROR_SUCCESS;
    BluetoothParams found;
    found.status = Snapshot(error);
    if (error == ERROR_SUCCESS) static_cast<void>(SetRevertParameters(&found));
    return error;
}

/// A device that refuses the change isn't told by those who change it: only a look tells.
uint32_t CBluetoothAction::FinishRevert() {
    TRACE_SCOPE("CBluetoothAction::FinishRevert");
    if (m_revertParameters == nullptr || m_revertParameters->status == BluetoothStatus::None)
        return ERROR_SUCCESS;
    // Each of them, and none that was taken out since, which can't be put back.
    bool allBack = true;
    const uint32_t error = VisitAdapters([&](const GUID&, BluetoothStatus status) {
        if (status != BluetoothStatus::None && status != m_revertParameters->status) allBack = false;
    });
    if (error != ERROR_SUCCESS) return error;
    return allBack ? uint32_t{ERROR_SUCCESS} : uint32_t{ERROR_GEN_FAILURE};
}

uint32_t CBluetoothAction::PutBack() {
    TRACE_SCOPE("CBluetoothAction::PutBack");
    const uint32_t error = ActionWith::PutBack();
    return error == ERROR_SUCCESS ? FinishRevert() : error;
}

uint32_t CBluetoothAction::Stop() {
    TRACE_SCOPE("CBluetoothAction::Stop");
    if (WaitForSingleObject(m_idle.Get(), 0) == WAIT_OBJECT_0) return 0;
    m_cancelRequested.fetch_or(1);
    WaitForSingleObject(m_idle.Get(), INFINITE);
    m_cancelRequested = 0;
    SetEvent(m_idle.Get());
    return 0;
}

uint32_t CBluetoothAction::Revert() {
    TRACE_SCOPE("CBluetoothAction::Revert");
    if (m_revertParameters == nullptr) return 0;
    Stop();
    // Not marked as busy, on purpose: nobody waits for a way back.
    return _Change(m_revertParameters->status);
}

uint32_t CBluetoothAction::Update(IOptimizerActionSettings* parameters) {
    TRACE_SCOPE("CBluetoothAction::Update");
    const auto* const wanted = dynamic_cast<const BluetoothParams*>(parameters);
    if (wanted == nullptr) return 0;
    Stop();
    const BusyMark busy(m_idle.Get());
    m_parameters = *wanted;
    _Change(m_parameters.status);
    return 0;
}

uint32_t CBluetoothAction::_Change(BluetoothStatus status) {
    // Without a note, since there was no adapter or none that could be read, one that has come since is left
    // alone: it would never come back.
    const bool isNoted = m_revertParameters != nullptr && m_revertParameters->status != BluetoothStatus::None;
    return status != BluetoothStatus::None && isNoted ? _ChangeDevices(status == BluetoothStatus::On) : 0;
}

uint32_t CBluetoothAction::_ChangeDevices(bool enable) {
    TRACE_SCOPE("CBluetoothAction::_ChangeDevices");
    DeviceSet set;
    const uint32_t openError = OpenAdapters(set);
    if (openError != ERROR_SUCCESS) return openError;
    SP_DEVINFO_DATA device = EmptyDevice();
    for (DWORD index = 0;; ++index) {
        // Before the first device and after each: what has changed until then stays changed.
        if (m_cancelRequested == 1) return ERROR_CANCELLED;
        if (!SetupDiEnumDeviceInfo(set.Get(), index, &device)) {
            const DWORD error = GetLastError();
            return error == ERROR_NO_MORE_ITEMS ? ERROR_SUCCESS : error;
        }
        if (!ChangeDevice(set, device, enable)) TRACE_LINE(trace::kWarning, L"ChangeDevice failed");
    }
}

}  // namespace optimizer
