#pragma once

#include <map>
#include <string>
#include <vector>

#include <windows.h>

#include "comm/optimizer_agent.h"
#include "comm/optimizer_agent_server.h"
#include "tests/support/fake_connector.h"
#include "tests/support/fake_host.h"

namespace test_support {

/// A user's session in place of the imports that reach one: the visual effects are numbers, time is not
/// waited for. Linked only where it is wanted.
struct FakeSession {
    std::map<UINT, int> effects;        // by the action that reads them
    std::vector<std::wstring> misuses;  // calls in a form that the system would not take
    std::vector<std::wstring> broadcasts;
    std::wstring domain;   // of the console's user
    int minorVersion = 3;  // Windows 6.x
    int waits = 0;         // for an agent's report
};
extern FakeSession g_session;

/// The values of the Wine user under HKEY_USERS, as other programs see them.
class UserRegistry {
public:
    explicit UserRegistry(std::wstring key);
    ~UserRegistry();
    void Make() const;
    void Remove() const;
    /// -1 when there is no such value.
    int Get(const wchar_t* value) const;
    void Set(const wchar_t* value, DWORD data) const;

private:
    std::wstring m_path;
};

/// The service's end and the agent's over pipes in memory, with one agent that listens.
struct AgentPair {
    AgentPair();
    ~AgentPair();

    FakeHost host;
    FakeConnector connector;
    optimizer::COptimizerAgentServer server;
    optimizer::COptimizerAgent agent;
};

/// A narrow text as it travels.
std::string Packed(const std::string& text);

}  // namespace test_support
