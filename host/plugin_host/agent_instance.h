#pragma once

#include <windows.h>

#include "frame/handles.h"

namespace host {

/// The one agent of a session. The system lets go of it when its process dies.
class AgentInstance {
public:
    /// The calling thread takes the place of the session's agent, and keeps it until the object ends.
    AgentInstance();
    ~AgentInstance();
    AgentInstance(const AgentInstance&) = delete;
    AgentInstance& operator=(const AgentInstance&) = delete;

    /// False when the session has an agent already, or the system gives no objects.
    bool IsTheOne() const { return m_held && m_stop; }
    /// Signalled when the agent is to end. Who signals it needs no more than the session.
    HANDLE StopEvent() const { return m_stop.Get(); }

private:
    optimizer::KernelHandle m_mutex;
    optimizer::KernelHandle m_stop;
    bool m_held = false;
};

/// Whether an agent runs in the session of this process.
bool HasSessionAgent();

enum class StopResult { Stopped, NoneRuns, StillRuns };

/// Ends the session's agent and waits for its end, ten seconds at most.
StopResult StopAgent();

}  // namespace host
