#include "host/service/agent_starter.h"

#include <string>

#include <windows.h>

#include <userenv.h>

#include "frame/guarded.h"
#include "frame/module_path.h"
#include "frame/trace.h"
#include "frame/wts_memory.h"
#include "host/service/agent_arrival.h"
#include "host/service/logged_on.h"

namespace host {

namespace {

namespace trace = optimizer::trace;

struct EnvironmentTraits {
    using Type = void*;
    static Type Invalid() { return nullptr; }
    static void Close(Type environment) { DestroyEnvironmentBlock(environment); }
};
using Environment = optimizer::UniqueHandle<EnvironmentTraits>;

/// 0 or the system's error.
uint32_t StartAs(HANDLE token) {
    const std::wstring folder = optimizer::GetModuleFolder();
    std::wstring command = L"\"" + folder + L"optimizeragent.exe\" run --with-service";
    Environment environment;
    // Without it the agent gets the service's own; it still runs.
    CreateEnvironmentBlock(environment.Receive(), token, FALSE);
    wchar_t desktop[] = L"winsta0\\default";
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.lpDesktop = desktop;
    PROCESS_INFORMATION information = {};
    const BOOL created = CreateProcessAsUserW(token, nullptr, command.data(), nullptr, nullptr, FALSE,
                                              CREATE_NO_WINDOW | CREATE_UNICODE_ENVIRONMENT,
                                              environment.Get(), folder.c_str(), &startup, &information);
    const DWORD error = GetLastError();
    const optimizer::KernelHandle process(information.hProcess);
    const optimizer::KernelHandle thread(information.hThread);
    return created ? uint32_t{ERROR_SUCCESS} : error;
}

}  // namespace

void StartAgents(IComponentManager* components) {
    TRACE_SCOPE("StartAgents");
    const uint32_t error = optimizer::Guarded([&] {
        // Services live in a session of their own, where nobody is logged on; such sessions give no token
        // later.
        for (const uint32_t session : Sessions())
            StartAgent(components, session);
        return uint32_t{ERROR_SUCCESS};
    });
    if (error != ERROR_SUCCESS) TRACE_LINE(trace::kError, L"Not every session got its agent: 0x%x", error);
}

void StartAgent(IComponentManager* components, uint32_t session) {
    TRACE_SCOPE("StartAgent");
    optimizer::KernelHandle token;
    if (!WTSQueryUserToken(session, token.Receive())) {
        const DWORD error = GetLastError();
        // Nobody is logged on there, or this process isn't a service.
        TRACE_LINE(trace::kInformation, L"No agent for session %u: 0x%x", session, error);
        return;
    }
    const uint32_t error = optimizer::Guarded([&] { return StartAs(token.Get()); });
    if (error == ERROR_SUCCESS) {
        TRACE_LINE(trace::kInformation, L"Agent started in session %u", session);
        // What another session's agent does or tells is nothing that anybody waits for.
        if (session == WTSGetActiveConsoleSessionId()) ExpectAgent(components);
    } else {
        TRACE_LINE(trace::kError, L"The agent can't be started in session %u: 0x%x", session, error);
    }
}

}  // namespace host
