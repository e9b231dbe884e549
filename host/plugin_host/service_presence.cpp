#include "host/plugin_host/service_presence.h"

#include <iterator>

#include <sddl.h>

#include "frame/trace.h"

namespace host {

namespace {

namespace trace = optimizer::trace;

constexpr const wchar_t* kName = L"Global\\OptimizerHost-2F0B6B2E-8D0C-4C0B-9E0A-6A5D1C7E4B93";
// The system and administrators all; whoever is logged on may wait for it.
constexpr const wchar_t* kAccess = L"D:(A;;GA;;;SY)(A;;GA;;;BA)(A;;0x100000;;;IU)";
// Agents of an earlier service hold the mutex for moments while they notice its end.
constexpr DWORD kPatienceMs = 2000;

}  // namespace

void ServicePresence::Take() {
    TRACE_SCOPE("ServicePresence::Take");
    optimizer::LocalMemory descriptor;
    SECURITY_ATTRIBUTES attributes = {sizeof(attributes), nullptr, FALSE};
    if (ConvertStringSecurityDescriptorToSecurityDescriptorW(kAccess, SDDL_REVISION_1, descriptor.Receive(),
                                                             nullptr)) {
        attributes.lpSecurityDescriptor = descriptor.Get();
    }
    m_mutex.Reset(CreateMutexW(&attributes, FALSE, kName));
    if (!m_mutex) {
        const DWORD error = GetLastError();
        TRACE_LINE(trace::kError, L"No mutex to tell the agents: 0x%x", error);
        return;
    }
    const DWORD result = WaitForSingleObject(m_mutex.Get(), kPatienceMs);
    m_held = result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
    if (!m_held) TRACE_LINE(trace::kError, L"Somebody holds the mutex that tells the agents");
}

void ServicePresence::LetGo() {
    if (m_held) ReleaseMutex(m_mutex.Get());
    m_held = false;
    m_mutex.Reset();
}

bool IsServicePresent() {
    const optimizer::KernelHandle mutex(OpenMutexW(SYNCHRONIZE, FALSE, kName));
    const DWORD error = GetLastError();
    return mutex || error != ERROR_FILE_NOT_FOUND;
}

PresenceEnd WaitForServiceEnd(HANDLE stop, DWORD timeoutMs) {
    TRACE_SCOPE("WaitForServiceEnd");
    const optimizer::KernelHandle mutex(OpenMutexW(SYNCHRONIZE, FALSE, kName));
    const DWORD error = GetLastError();
    if (!mutex) {
        if (error == ERROR_FILE_NOT_FOUND) return PresenceEnd::Gone;
        TRACE_LINE(trace::kWarning, L"The service's end can't be noticed: 0x%x", error);
        return WaitForSingleObject(stop, timeoutMs) == WAIT_TIMEOUT ? PresenceEnd::None
                                                                    : PresenceEnd::Stopped;
    }
    const HANDLE handles[] = {stop, mutex.Get()};
    const DWORD result = WaitForMultipleObjects(std::size(handles), handles, FALSE, timeoutMs);
    if (result == WAIT_TIMEOUT) return PresenceEnd::None;
    if (result != WAIT_OBJECT_0 + 1 && result != WAIT_ABANDONED_0 + 1) return PresenceEnd::Stopped;
    ReleaseMutex(mutex.Get());
    return PresenceEnd::Gone;
}

}  // namespace host
