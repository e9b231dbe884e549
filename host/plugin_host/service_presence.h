#pragma once

#include <windows.h>

#include "frame/handles.h"

namespace host {

/// Tells the agents that the service runs: a mutex that the service holds, and that the system lets go of
/// when the service dies. One thread takes it and lets it go.
class ServicePresence {
public:
    ServicePresence() = default;
    ~ServicePresence() { LetGo(); }
    ServicePresence(const ServicePresence&) = delete;
    ServicePresence& operator=(const ServicePresence&) = delete;

    /// Before the pipes are served. A failure is traced: agents then notice the service's end late or never.
    void Take();
    void LetGo();

private:
    optimizer::KernelHandle m_mutex;
    bool m_held = false;
};

/// Whether a service runs, or may run where that can't be told.
bool IsServicePresent();

/// How a wait for the service's end came out.
enum class PresenceEnd {
    Stopped,  // `stop` was signalled
    Gone,     // the service isn't there any more
    None,     // nothing of that within the time
};

/// Blocks until the service that runs now goes, or `stop` is signalled, `timeoutMs` at most.
PresenceEnd WaitForServiceEnd(HANDLE stop, DWORD timeoutMs);

}  // namespace host
