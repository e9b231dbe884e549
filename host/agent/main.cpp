// The process in a user's session that carries out what the service can't: a small host for the agent's
// plug-ins, without a window of its own.
#include <exception>
#include <string>
#include <vector>

#include <windows.h>

#include <CLI/CLI.hpp>

#include "frame/log_binding.h"
#include "frame/text.h"
#include "host/agent/agent_host.h"
#include "host/agent/session_end.h"
#include "host/plugin_host/agent_instance.h"
#include "host/terminal/command_line.h"
#include "host/terminal/terminal.h"

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kUsage = 2;

int Fail(const std::wstring& sentence) {
    host::PrintErrorLine(sentence);
    return kFailed;
}

int RunAgent(const std::wstring& pluginList, bool endsWithService) {
    optimizer::trace::LogHolder log;
    log.Get();
    const host::AgentInstance instance;
    if (!instance.IsTheOne()) {
        host::PrintLine(L"The session has an agent already.");
        return kDone;
    }
    const host::AgentHost agent(pluginList, endsWithService, instance.StopEvent());
    host::SessionEndWatch watch(instance.StopEvent(), agent.EndedEvent());
    watch.PumpUntilEnded();
    return agent.Problem().empty() ? kDone : Fail(agent.Problem());
}

int StopAgent() {
    switch (host::StopAgent()) {
        case host::StopResult::Stopped:
            return kDone;
        case host::StopResult::NoneRuns:
            return Fail(L"No agent runs in this session.");
        case host::StopResult::StillRuns:
            break;
    }
    return Fail(L"The agent didn't end within ten seconds; end optimizeragent.exe in the task manager.");
}

int Run(const std::vector<std::wstring>& arguments) {
    CLI::App app("Carries out, in the user's session, what the service can't.", "optimizeragent");
    app.require_subcommand(1);
    std::string listOption;
    app.add_option("--plugins", listOption, "plug-in list to load instead of settings\\agent_plugins.xml");
    auto* const run = app.add_subcommand("run", "run until the session ends");
    bool withService = false;
    run->add_flag("--with-service", withService, "end also when the service isn't installed any more");
    const auto* const stop = app.add_subcommand("stop", "end this session's agent");

    try {
        host::ParseArguments(app, arguments);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kDone : kUsage;
    }
    if (stop->parsed()) return StopAgent();
    if (!run->parsed()) return kUsage;
    return RunAgent(listOption.empty() ? host::DefaultAgentPluginList() : optimizer::Widen(listOption),
                    withService);
}

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int) {
    // A person who calls it from a console sees its sentences there; without one it stays silent.
    if (GetStdHandle(STD_OUTPUT_HANDLE) == nullptr) AttachConsole(ATTACH_PARENT_PROCESS);
    try {
        return Run({__wargv + 1, __wargv + __argc});
    } catch (const std::exception& error) {
        return Fail(L"The agent ends on an unexpected failure: " + optimizer::Widen(error.what()) + L".");
    }
}
