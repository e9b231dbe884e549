#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include <windows.h>

namespace test_support {

/// Devices and drives in memory, in place of the setup, configuration-manager and storage calls of this test
/// program. One at a time. Calls with other flags, sizes or classes than the real ones take fail.
class SimulatedDevices {
public:
    struct Adapter {
        GUID classGuid = {};
        const wchar_t* description = L"";  // empty: it has none
        DWORD flags = 0;                   // CONFIGFLAG_…; 1 for disabled
        bool hidesFlags = false;
        bool refuses = false;
    };
    struct Drive {
        UINT type = DRIVE_REMOVABLE;
        std::wstring device;  // empty: it has no device name
    };

    SimulatedDevices() { s_current = this; }
    ~SimulatedDevices() { s_current = nullptr; }

    std::vector<Adapter> adapters;
    std::map<std::wstring, Drive> drives;        // by "X:"
    std::map<std::wstring, DWORD> files;         // what can be opened, and the disk's number; 0 for none
    std::vector<std::wstring> disks;             // interface paths; the device of the nth is n
    std::map<std::wstring, DWORD> errors;        // by what fails: "open", "enumerate", "parent"
    std::vector<DWORD> ejected;                  // the parent of device n is n + 100
    std::function<void(size_t index)> onChange;  // before an adapter changes
    int openSets = 0;
    static inline SimulatedDevices* s_current = nullptr;
};

}  // namespace test_support
