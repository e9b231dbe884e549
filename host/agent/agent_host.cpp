#include "host/agent/agent_host.h"

#include <algorithm>
#include <utility>

#include <windows.h>

#include "border/connection_watch.h"
#include "frame/guarded.h"
#include "frame/module_path.h"
#include "frame/plugin_request.h"
#include "frame/trace.h"
#include "host/plugin_host/plugin_host.h"
#include "host/plugin_host/service_presence.h"
#include "host/service/service_control.h"

namespace host {

namespace {

namespace trace = optimizer::trace;

constexpr uint32_t kQueueThreads = 2;
constexpr DWORD kPauseMs = 2000;  // between two looks for the service
constexpr DWORD kLongestPauseMs = 60000;
constexpr DWORD kWatchMs = 2000;  // between two looks at the connection
constexpr const wchar_t* kConnector = L"connclient";

/// True where that can't be told.
bool IsServiceInstalled() {
    const optimizer::ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!manager) return true;
    const optimizer::ServiceHandle service(OpenServiceW(manager.Get(), kServiceName, SERVICE_QUERY_STATUS));
    const DWORD error = GetLastError();
    return service || error != ERROR_SERVICE_DOES_NOT_EXIST;
}

/// Blocks until the service goes, `stop` is signalled, or the agent's connection was cut while the service
/// lives; that is None.
PresenceEnd WaitForEnd(IComponentManager* components, HANDLE stop) {
    auto* const watch = optimizer::RequestPlugin<IConnectionWatch>(components, kConnector);
    // Another connector than this host's doesn't tell; the service's end is noticed all the same.
    const DWORD timeoutMs = watch != nullptr ? kWatchMs : INFINITE;
    PresenceEnd end = PresenceEnd::None;
    do {
        end = WaitForServiceEnd(stop, timeoutMs);
    } while (end == PresenceEnd::None && watch != nullptr && watch->LostConnections() == 0);
    if (watch != nullptr) components->ReleasePlugin(kConnector);
    return end;
}

}  // namespace

std::wstring DefaultAgentPluginList() {
    return optimizer::GetModuleFolder() + L"settings\\agent_plugins.xml";
}

AgentHost::AgentHost(std::wstring pluginList, bool endsWithService, HANDLE stop)
    : m_pluginList(std::move(pluginList)),
      m_endsWithService(endsWithService),
      m_stop(stop),
      m_ended(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      m_thread([this] { _Run(); }) {}

AgentHost::~AgentHost() {
    SetEvent(m_stop);
    m_thread.join();
}

void AgentHost::_Run() {
    TRACE_SCOPE("AgentHost::_Run");
    const uint32_t error =
        optimizer::Guarded([&] { return _Serve() ? uint32_t{ERROR_SUCCESS} : uint32_t{ERROR_GEN_FAILURE}; });
    if (error != ERROR_SUCCESS) TRACE_LINE(trace::kError, L"The agent ends: 0x%x", error);
    SetEvent(m_ended.Get());
}

/// False when this process can't be a host.
bool AgentHost::_Serve() {
    TRACE_SCOPE("AgentHost::_Serve");
    PluginHost plugins;
    if (!plugins.Start(kQueueThreads, m_problem)) return false;
    DWORD pauseMs = kPauseMs;
    do {
        if (!IsServicePresent()) {
            if (m_endsWithService && !IsServiceInstalled()) break;
            pauseMs = kPauseMs;  // the next service is to find its agent soon
            continue;
        }
        std::wstring problem;
        if (!plugins.Load(m_pluginList, problem)) {
            // The service may not serve its pipes yet. When it never does, the log isn't to be flooded.
            TRACE_LINE(trace::kWarning, L"%s", problem.c_str());
            pauseMs = std::min(pauseMs * 2, kLongestPauseMs);
            continue;
        }
        pauseMs = kPauseMs;
        const PresenceEnd end = WaitForEnd(plugins.Main()->GetComponentManager(), m_stop);
        if (end == PresenceEnd::None) TRACE_LINE(trace::kWarning, L"The connection was cut; it is made anew");
        plugins.Unload();
        if (end == PresenceEnd::Stopped) break;
    } while (WaitForSingleObject(m_stop, pauseMs) == WAIT_TIMEOUT);
    return true;
}

}  // namespace host
