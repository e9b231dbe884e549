#pragma once

#include <string>
#include <thread>

#include "frame/handles.h"

namespace host {

/// Runs the agent's plug-ins on a thread of its own, for as long as the service is there, and again when it
/// comes back.
class AgentHost {
public:
    /// `stop` is signalled from outside when the agent is to end. With `endsWithService` it also ends by
    /// itself when the service isn't installed any more.
    AgentHost(std::wstring pluginList, bool endsWithService, HANDLE stop);
    /// Signals `stop` and waits for the thread.
    ~AgentHost();
    AgentHost(const AgentHost&) = delete;
    AgentHost& operator=(const AgentHost&) = delete;

    /// Signalled when the thread has ended the plug-ins.
    HANDLE EndedEvent() const { return m_ended.Get(); }
    /// Why the agent couldn't run at all; empty otherwise. After EndedEvent.
    const std::wstring& Problem() const { return m_problem; }

private:
    void _Run();
    bool _Serve();

    std::wstring m_pluginList;
    bool m_endsWithService;
    HANDLE m_stop;
    optimizer::KernelHandle m_ended;
    std::wstring m_problem;
    std::thread m_thread;  // the last: it uses all the others
};

/// The plug-in list that ships beside this program.
std::wstring DefaultAgentPluginList();

}  // namespace host
