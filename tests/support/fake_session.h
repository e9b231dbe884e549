#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "comm/optimizer_agent.h"
#include "comm/optimizer_agent_server.h"
#include "tests/support/fake_connector.h"
#include "tests/support/fake_host.h"

namespace test_support {

/// A user's session in place of the imports that reach one: the visual effects are numbers, nothing waits.
/// Linked only where it is wanted.
struct FakeSession {
    std::map<uint32_t, int> effects;  // by the action that reads them
    int misuses = 0;                  // calls in a form that the system would not take
    std::vector<std::wstring> broadcasts;
    int waits = 0;                            // for an agent or its report, in vain
    std::function<void()> meanwhile = [] {};  // what happens during the next wait
};
extern FakeSession g_session;

/// A number of the Wine user's registry; -1 when there is none.
int UserValue(const wchar_t* key, const wchar_t* value);

/// Both ends of the agents' pipe in memory, with one agent that listens, for the Wine user.
struct AgentPair {
    AgentPair();
    ~AgentPair();
    /// The agent leaves the pipe; comes back, or connects anew, as one of the console's session.
    void EndAgent();
    void BeginAgent();

    FakeHost host;
    FakeConnector connector;
    optimizer::COptimizerAgentServer server;
    optimizer::COptimizerAgent agent;
};

/// A narrow text as it travels.
std::string Packed(const std::string& text);

}  // namespace test_support
