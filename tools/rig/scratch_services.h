#pragma once

#include <string>
#include <vector>

#include "frame/handles.h"

namespace rig {

/// What the service manager says of a service.
struct ServiceState {
    DWORD state = 0;      // SERVICE_RUNNING, ...
    DWORD startType = 0;  // SERVICE_AUTO_START, ...

    bool operator==(const ServiceState& other) const = default;
};

/// Asks again and again for ten seconds at most; for what another process does meanwhile.
template <class Condition>
bool WaitUntil(Condition condition) {
    for (DWORD waitedMs = 0; waitedMs < 10000; waitedMs += 10) {
        if (condition()) return true;
        Sleep(10);
    }
    return false;
}

/// "RUNNING AUTOMATIC" and the like.
std::wstring ToText(const ServiceState& state);

/// Services of the test's own, run by the program scratch_service.exe in the test's folder; stopped and
/// removed at the end. Their names carry the process id, so that runs don't meet.
class ScratchServices {
public:
    ScratchServices();
    ~ScratchServices();
    ScratchServices(const ScratchServices&) = delete;
    ScratchServices& operator=(const ScratchServices&) = delete;

    /// Installs a service and brings it into a state; returns its name.
    std::wstring Add(const std::wstring& name, const ServiceState& wanted);
    ServiceState Query(const std::wstring& name) const;
    /// Of all services, in the order of their making.
    std::vector<ServiceState> QueryAll() const;
    /// Waits until a service has the state; false when it hasn't within ten seconds.
    bool Reaches(const std::wstring& name, const ServiceState& wanted) const;
    void SetStartType(const std::wstring& name, DWORD startType) const;

    const std::vector<std::wstring>& Names() const { return m_names; }

private:
    optimizer::ServiceHandle _Open(const std::wstring& name) const;

    optimizer::ServiceHandle m_manager;
    std::vector<std::wstring> m_names;
};

}  // namespace rig
