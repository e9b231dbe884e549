#pragma once

#include <gtest/gtest.h>

#include "border/connector.h"
#include "frame/exported_object.h"
#include "frame/module_path.h"
#include "tests/support/fake_host.h"

namespace test_support {

/// Both ends of a pipe over the real connector, with a plug-in of the test's behind the server and a listener
/// at the client.
template <class Plugin, class Server, class Client, class Listener>
class PipeFixture : public testing::Test {
protected:
    explicit PipeFixture(const wchar_t* plugin) : m_name(plugin) {
        EXPECT_EQ(m_connector.Load(optimizer::GetModuleFolder() + L"connector.dll", L"connserver"), 0U);
        m_host.manager.plugins = {{m_name, &m_plugin}, {L"connserver", m_connector.Get()}};
        EXPECT_EQ(m_server.Init(&m_host), 0U);
        EXPECT_EQ(m_server.Start(), 0U);
        EXPECT_EQ(m_client.Init(nullptr), 0U);
        EXPECT_EQ(m_client.Start(), 0U);
        m_client.AddEventsObserver(&m_listener);
        m_client.AddResponseObserver(&m_listener);
    }
    ~PipeFixture() override {
        m_client.Stop();
        m_client.UnInit();
        m_server.Stop();
        m_server.UnInit();
        EXPECT_EQ(m_plugin.events.Remove(&m_server, 0), ERROR_NOT_FOUND) << "it still listens";
        EXPECT_EQ(m_host.manager.references[m_name], 0);
        EXPECT_EQ(m_host.manager.references[L"connserver"], 0);
    }

    const std::wstring m_name;
    Plugin m_plugin;
    FakeHost m_host;
    optimizer::ExportedObject<IConnectorServer> m_connector;
    Server m_server;
    Client m_client;
    Listener m_listener;
};

}  // namespace test_support
