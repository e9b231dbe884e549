// Both ends of the engine's pipe over the real connector: what a client asks for reaches the engine, what the
// engine answers reaches the client, whatever the payload looks like.
#include <vector>

#include <gtest/gtest.h>

#include "comm/byte_stream.h"
#include "comm/optimizer_al_comm.h"
#include "comm/optimizer_comm_client.h"
#include "frame/exported_object.h"
#include "frame/module_path.h"
#include "frame/users_library.h"
#include "frame/vx_string.h"
#include "tests/support/fake_engine.h"
#include "tests/comm/pipe_fixture.h"
#include "tests/support/inbox.h"
#include "tests/support/simulated_users.h"

namespace optimizer {
namespace {

using profiles::profile;
using test_support::Inbox;

class NotingEngine final : public test_support::FakeEngine {
public:
    uint32_t StartTask(const int32_t* task) override { return _Note(L"start", *task); }
    void CancelTask(const int32_t* task) override { _Note(L"cancel", *task); }
    uint32_t SetProfile(const profile* wanted) override { return _Note(L"set", static_cast<int>(*wanted)); }
    uint32_t SetProfileConfig(const profile* which, vx::String* text) override {
        config = text->Text();
        return _Note(L"config", static_cast<int>(*which));
    }
    uint32_t GetProfileConfig(const profile*, vx::String* text) override {
        text->Assign(config.c_str());
        return result;
    }
    uint32_t SetModuleEnable(bool enable) override { return _Note(L"enable", enable ? 1 : 0); }

    std::wstring config;
    Inbox calls;

private:
    uint32_t _Note(const wchar_t* call, int value) {
        calls.Add(call + std::to_wstring(value));
        return result;
    }
};

class Listener final : public IOptimizerEvents, public IOptimizerResponse {
public:
    using profile = profiles::profile;

    void OnTaskFinished(const wchar_t* user, const uint32_t* task, uint32_t status) override {
        heard.Add(L"task " + std::wstring(user) + std::to_wstring(*task) + L"/" + std::to_wstring(status));
    }
    void OnProfileChanged(const wchar_t* user, const profile* which) override {
        _Add(L"changed ", user, which);
    }
    void OnActionsExecuted(const wchar_t* user, const profile* which) override {
        _Add(L"executed ", user, which);
    }
    void OnProfileConfigChanged(const wchar_t* user, const profile* which) override {
        _Add(L"config ", user, which);
    }
    void OnOptimizerModuleEnableChanged(const wchar_t* user, bool enabled) override {
        heard.Add(L"module " + std::wstring(user) + (enabled ? L"on" : L"off"));
    }
    void OnOptimizerProcessOptimized(const wchar_t* process, uint32_t count) override {
        heard.Add(process + std::to_wstring(count));
    }
    void OnGetProfile(const profile* active) override { _Add(L"profile ", L"", active); }
    void OnGetProfileConfig(const profile* which, const wchar_t* config) override {
        _Add(L"text ", config, which);
    }
    void OnGetModuleEnable(bool enabled) override { heard.Add(enabled ? L"enabled" : L"disabled"); }

    Inbox heard;

private:
    void _Add(const wchar_t* what, const wchar_t* user, const profile* which) {
        heard.Add(std::wstring(what) + user + std::to_wstring(static_cast<uint32_t>(*which)));
    }
};

using Fixture = test_support::PipeFixture<NotingEngine, COptimizerALComm, COptimizerCommClient, Listener>;

class OptimizerPipe : public Fixture {
protected:
    OptimizerPipe() : Fixture(L"optimizeral") {}

    const profile m_game = profile::Game;
    const int32_t m_task = 6;
};

TEST_F(OptimizerPipe, EachRequestReachesTheEngineAndItsResultTheCaller) {
    profile active = profile::Disabled;
    bool enabled = false;
    for (const uint32_t result : {0u, 183u, 31u}) {
        SCOPED_TRACE(result);
        m_plugin.result = result;
        EXPECT_EQ(m_client.SetProfile(&m_game), result);
        EXPECT_EQ(m_client.SetModuleEnable(true), result);
        EXPECT_EQ(m_client.StartTask(&m_task), result);
        m_client.CancelTask(&m_task);
        EXPECT_EQ(m_plugin.calls.Take(4),
                  (std::vector<std::wstring>{L"set2", L"enable1", L"start6", L"cancel6"}));
        EXPECT_EQ(m_client.GetModuleEnable(&enabled), result);
        EXPECT_EQ(m_client.GetProfile(&active), result == 0 ? 0U : 31U) << "any failure is the general one";
    }
    EXPECT_EQ(active, profile::Movie);
    EXPECT_TRUE(enabled);
}

TEST_F(OptimizerPipe, ConfigsArriveWholeBothWays) {
    for (const size_t length : {size_t{0}, size_t{4096 / 2}, size_t{262144 / 2}}) {
        vx::String sent(std::wstring(length, L'\x00e9').c_str());
        vx::String received;
        EXPECT_EQ(m_client.SetProfileConfig(&m_game, &sent), 0U);
        EXPECT_EQ(m_client.GetProfileConfig(&m_game, &received), 0U);
        EXPECT_EQ(received.Length(), length);
        EXPECT_STREQ(received.Text(), sent.Text());
    }
    EXPECT_EQ(m_client.SetProfileConfig(&m_game, nullptr), 0U);
    EXPECT_EQ(m_plugin.config, L"");
    m_plugin.result = 31;
    vx::String untouched(L"kept");
    EXPECT_EQ(m_client.GetProfileConfig(&m_game, &untouched), 31U) << "the first of the two answers counts";
    EXPECT_STREQ(untouched.Text(), L"kept");
}

TEST_F(OptimizerPipe, RequestsThatDoNotWaitAreAnsweredByMessages) {
    m_plugin.config = L"{}";
    EXPECT_EQ(m_client.SetProfileAsync(&m_game), 0U);
    EXPECT_EQ(m_client.GetProfileAsync(), 0U);
    EXPECT_EQ(m_client.GetProfileConfigAsync(&m_game), 0U);
    EXPECT_EQ(m_client.GetModuleEnableAsync(), 0U);
    EXPECT_EQ(m_listener.heard.Take(3), (std::vector<std::wstring>{L"profile 3", L"text {}2", L"enabled"}));
    // Failures: only the config is answered, without its text; the tasks' answers interest nobody.
    m_plugin.result = 31;
    m_client.GetProfileAsync();
    m_client.GetModuleEnableAsync();
    m_client.StartTaskAsync(&m_task);
    m_client.CancelTaskAsync(&m_task);
    m_client.SetModuleEnableAsync(false);
    vx::String config(L"{1}");
    m_client.SetProfileConfigAsync(&m_game, &config);
    m_client.GetProfileConfigAsync(&m_game);
    EXPECT_EQ(m_listener.heard.Take(1), (std::vector<std::wstring>{L"text 2"}));
    EXPECT_EQ(m_plugin.calls.Take(5),
              (std::vector<std::wstring>{L"set2", L"start6", L"cancel6", L"enable0", L"config2"}));
}

TEST_F(OptimizerPipe, EventsComeInOrderButNotTheClientsOwn) {
    const uint32_t task = 4;
    const auto fire = [&](const wchar_t* user) {
        m_plugin.events.ForEach([&](IOptimizerEvents* events) {
            events->OnTaskFinished(user, &task, 5);
            events->OnProfileChanged(user, &m_game);
            events->OnActionsExecuted(user, &m_game);
            events->OnProfileConfigChanged(user, &m_game);
            events->OnOptimizerModuleEnableChanged(user, false);
            events->OnOptimizerProcessOptimized(L"p.exe", 2);
        });
    };
    const std::vector<std::wstring> all = {L"task D\\u4/5", L"changed D\\u2",  L"executed D\\u2",
                                           L"config D\\u2", L"module D\\uoff", L"p.exe2"};
    fire(L"D\\u");
    EXPECT_EQ(m_listener.heard.Take(6), all) << "without a user library everything passes";

    ASSERT_TRUE(VxUsersLibrary::Instance().Bind());
    test_support::SetSimulatedUser(L"d", L"U");
    fire(L"D\\u");
    EXPECT_EQ(m_listener.heard.Take(1), (std::vector<std::wstring>{L"p.exe2"}));
    test_support::SetSimulatedUser(L"d", L"other");
    fire(L"D\\u");
    EXPECT_EQ(m_listener.heard.Take(6), all);
    VxUsersLibrary::Instance().Unbind();
}

TEST_F(OptimizerPipe, PayloadsThatAreWrongDoNoHarm) {
    ExportedObject<IConnectorClient> connector;
    ASSERT_EQ(connector.Load(GetModuleFolder() + L"connector.dll", L"connclient"), 0U);
    ASSERT_EQ(connector.Get()->Init(nullptr), 0U);
    ASSERT_EQ(connector.Get()->Start(), 0U);
    ConnectorEndpoint* const raw = connector.Get()->connectPipe(kOptimizerPipe, 0, kCommonPipeName, 5000);
    ASSERT_NE(raw, nullptr);
    ConnectorResponse* response = nullptr;
    constexpr uint8_t kBytes[8] = {2};
    for (const NpcMsg id : {NpcMsg::OptimizerSetProfile, NpcMsg::OptimizerModuleEnable,
                            NpcMsg::OptimizerStartTask, NpcMsg::OptimizerCancelTask}) {
        for (const uint32_t size : {0u, 3u, 8u})
            EXPECT_EQ(raw->sendMessage(static_cast<uint32_t>(id), kBytes, size, &response, 0, 20), 258U);
    }
    for (const uint32_t unknown : {0u, 3u, 12u, 23u, 25u, 0xFFFFFFFFu})
        EXPECT_EQ(raw->sendMessage(unknown, kBytes, 4, &response, 0, 20), 258U) << unknown;

    // A request that is too short reads as zeros.
    m_plugin.result = 183;
    ASSERT_EQ(raw->sendMessage(5, kBytes, 2, &response, 0, 5000), 0U);
    EXPECT_EQ(response->status, 183U);
    raw->freeResponse(response);
    EXPECT_EQ(m_plugin.calls.Take(1), (std::vector<std::wstring>{L"config0"}));
    EXPECT_EQ(m_plugin.config, L"");
    m_plugin.result = 0;
    ASSERT_EQ(raw->sendMessage(6, nullptr, 0, &response, 0, 5000), 0U);
    EXPECT_EQ(CByteStream(response->data, response->sizeBytes).ReadUint32(), 0U);
    raw->freeResponse(response);

    connector.Get()->disconnectPipe(raw);
    connector.Get()->Stop();
    connector.Get()->UnInit();
}

TEST_F(OptimizerPipe, TheLifeCycleIsCounted) {
    EXPECT_EQ(m_client.Init(nullptr), 0U);
    EXPECT_EQ(m_client.Start(), 0U);
    EXPECT_EQ(m_client.Stop(), 0U);
    m_client.UnInit();
    profile active = profile::Disabled;
    EXPECT_EQ(m_client.GetProfile(&active), 0U) << "one pair is left";

    m_server.Stop();
    COptimizerCommClient alone;
    EXPECT_EQ(alone.Init(nullptr), 0U);
    EXPECT_EQ(alone.Start(), 8U);
    EXPECT_EQ(alone.Start(), 0U) << "the count stays raised after a failure";
    EXPECT_NE(alone.GetProfile(&active), 0U);
    EXPECT_NE(m_client.GetProfile(&active), 0U) << "a server that went away is an error at once";
    alone.UnInit();
}

}  // namespace
}  // namespace optimizer
