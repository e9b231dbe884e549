// What leaves for the cloud, from the provider's event to the server's socket: the client with the host's own
// "icloud", "regal" and queue.
#include <algorithm>
#include <atomic>
#include <filesystem>

#include <gtest/gtest.h>

#include <windows.h>

#include <sddl.h>
#include <winhttp.h>

#include "cloud/cloud_apps_client.h"
#include "cloud/cloud_factory.h"
#include "frame/text.h"
#include "framework/event_queue.h"
#include "optimizerprocessdp/process_entry.h"
#include "profile/optimizer_plugin.h"
#include "tests/cloud/loopback_server.h"
#include "tests/support/fake_host.h"
#include "tests/support/fake_plugin.h"
#include "tests/support/fake_product_info.h"
#include "tests/support/simulated_log.h"
#include "tools/rig/scratch_services.h"
#include "tools/rig/temporary_folder.h"

namespace optimizer {
namespace {

using profiles::profile;
using test_support::LoopbackServer;

using Entry = host::CProcessEntry;

/// The host's list of applications, whose user the test is.
struct Provider final : test_support::FakePlugin<IOptimizerProcessDP> {
    void Reserved5() override {}
    void Reserved6() override {}
    void Reserved7() override {}
    void Reserved8() override {}
    uint32_t IsIncluded(const ProcessListKind*, const vx::String*, const vx::String*, bool*) override {
        return ERROR_NOT_FOUND;
    }
    void Reserved10() override {}
    uint32_t RegisterDetailsEvents(IOptimizerProcessDPDetailsEvents* o) override { return observer = o, 0; }
    uint32_t RegisterListEvents(IOptimizerProcessDPEvents*) override { return 0; }
    uint32_t UnregisterDetailsEvents(IOptimizerProcessDPDetailsEvents* o) override {
        if (observer == o) observer = nullptr;
        return 0;
    }
    uint32_t UnregisterListEvents(IOptimizerProcessDPEvents*) override { return 0; }

    void Add(profile which, const std::vector<Entry>& entries,
             ProcessEventKind kind = ProcessEventKind::Entries) const {
        host::ProcessEntryList list;
        for (const Entry& entry : entries)
            list.PushBack(entry);
        if (observer != nullptr) observer->OnProcessesAdded(&kind, &which, &list);
    }
    IOptimizerProcessDPDetailsEvents* observer = nullptr;
};

struct Host final : IServMain {
    void* QueryInterface(const Identifier*) override { return nullptr; }
    IComponentManager* GetComponentManager() override { return &manager; }
    IPluginLoader* GetPluginLoader() override { return nullptr; }
    IEventQueue* GetEventQueue() override { return &queue; }
    test_support::FakeComponentManager manager;
    host::CEventQueue queue;
};

/// The host with its plug-ins, and a folder for the registration that is this test's alone.
class Cloud : public testing::Test {
protected:
    Cloud() {
        std::filesystem::create_directory(m_folder.File(L"optimizer"));
        m_product.folder = m_folder.Path();
        m_product.cloud = m_server.Address();
        m_host.manager.plugins = {{L"productinfo", &m_product}, {L"optimizerprocessdp", &m_provider}};
        EXPECT_EQ(m_host.queue.Start(4), 0U);
        EXPECT_EQ(m_cloud.Load(L"hostplugins.dll", L"icloud"), 0U);
        EXPECT_EQ(m_regal.Load(L"hostplugins.dll", L"regal"), 0U);
        EXPECT_EQ(m_cloud.Get()->Init(&m_host), 0U);
        EXPECT_EQ(m_regal.Get()->Init(&m_host), 0U);
        EXPECT_EQ(m_regal.Get()->Start(), 0U);
        m_regal.Get()->RegisterCallback(RegistrationChange::Status, &Count, &m_status);
        m_regal.Get()->RegisterCallback(RegistrationChange::Account, &Count, &m_account);
        m_host.manager.plugins[L"icloud"] = m_cloud.Get();
        m_host.manager.plugins[L"regal"] = m_regal.Get();
    }
    ~Cloud() override {
        EXPECT_EQ(m_regal.Get()->Stop(), 0U);
        m_cloud.Get()->UnInit();
        EXPECT_EQ(m_host.queue.Stop(), 0U);
        for (const auto& [name, count] : m_host.manager.references)
            EXPECT_EQ(count, 0) << Narrow(name);
    }

    /// Puts the registration file in place. True when the callbacks have then been called so often in all.
    bool Register(const std::string& text, int status, int account,
                  const wchar_t* access = L"D:P(A;;FA;;;SY)(A;;FA;;;BA)") {
        const std::wstring fresh = m_folder.File(L"optimizer\\new.json");
        rig::WriteFileText(fresh, text);
        LocalMemory descriptor;
        ConvertStringSecurityDescriptorToSecurityDescriptorW(access, SDDL_REVISION_1, descriptor.Receive(),
                                                             nullptr);
        EXPECT_TRUE(SetFileSecurityW(fresh.c_str(), DACL_SECURITY_INFORMATION, descriptor.Get()));
        const std::wstring path = m_folder.File(L"optimizer\\registration.json");
        // The plug-in may be looking at the file that is replaced.
        EXPECT_TRUE(rig::WaitUntil(
            [&] { return MoveFileExW(fresh.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING); }));
        return rig::WaitUntil([&] { return m_status == status && m_account == account; });
    }
    static void Count(void* counter) { ++*static_cast<std::atomic<int>*>(counter); }

    bool LogHas(const std::wstring& part) const {
        const auto lines = m_trace.Lines();
        return std::any_of(lines.begin(), lines.end(),
                           [&](const std::wstring& line) { return line.find(part) != std::wstring::npos; });
    }

    test_support::TraceRecorder m_trace;
    LoopbackServer m_server;
    rig::TemporaryFolder m_folder;
    test_support::FakeProductInfo m_product;
    Provider m_provider;
    Host m_host;
    ExportedObject<ICloud> m_cloud;
    ExportedObject<IRegistrationStatus> m_regal;
    CCloudAppsClient m_client;
    std::atomic<int> m_status = 0;
    std::atomic<int> m_account = 0;
};

TEST_F(Cloud, ADocumentArrivesByteForByteAndItsTokenIsInNoLog) {
    m_server.Treat(
        "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n6\r\nthanks\r\nA\r\n, 5/e\"cret\r\n"
        "0\r\n\r\n");
    EXPECT_TRUE(
        Register(R"({"email":"\u00e4nn@x","token":"5/e\"cret","authenticated":true,"partnerId":-7})", 1, 1));
    ASSERT_EQ(m_client.Init(&m_host), 0U);
    m_client.Start();
    m_provider.Add(profile::Game, {{L"spiel\u00fc\u4e16\U0001f3ae.exe", L"\u00c4 \"B\""}, {L"b.exe", L""}});
    m_provider.Add(profile::Battery, {});
    const auto requests = m_server.WaitFor(2);
    m_client.Stop();
    m_client.UnInit();
    ASSERT_EQ(requests.size(), 2U);
    const std::string source =
        "\"velora_source\":{\"partner_id\":\"-7\",\"user_email\":\"\xC3\xA4nn@x\","
        "\"user_token\":\"5\\/e\\\"cret\"}}}";
    const std::string head =
        "\r\n\r\n{\"jsonrpc\":\"2.0\",\"method\":\"add_process_info\",\"params\":{\"apps\":[";
    EXPECT_TRUE(requests[0].starts_with("POST /base/services/optimizer HTTP/1.1\r\n"));
    EXPECT_TRUE(requests[0].ends_with(
        head +
        "{\"app_name\":\"spiel\xC3\xBC\xE4\xB8\x96\xF0\x9F\x8E\xAE.exe\",\"category\":\"game\","
        "\"product_name\":\"\xC3\x84 \\\"B\\\"\"},"
        "{\"app_name\":\"b.exe\",\"category\":\"game\",\"product_name\":\"\"}]," +
        source));
    EXPECT_TRUE(requests[1].ends_with(head + "]," + source)) << requests[1];
    EXPECT_TRUE(LogHas(L"Response: thanks, ***"));
    EXPECT_TRUE(LogHas(L"Serialization result: {") && LogHas(L"Request: {"));
    EXPECT_FALSE(LogHas(L"cret"));
}

TEST_F(Cloud, RequestsGoOneByOneInOrderAndOnlyForWhoIsSignedIn) {
    const auto add = [&](const wchar_t* name, auto... kind) {
        m_provider.Add(profile::Work, {{name, L""}}, kind...);
    };
    COptimizerPlugin engine;
    ASSERT_EQ(engine.Init(&m_host), 0U);
    ASSERT_EQ(engine.Start(), 0U);
    add(L"before");
    EXPECT_TRUE(LogHas(L"User not authenticated!"));
    EXPECT_TRUE(Register(R"({"email":"e","token":"t","authenticated":true})", 1, 1));
    m_server.Treat(LoopbackServer::Answered("500 No", "x"));
    add(L"list", ProcessEventKind::List);
    for (const wchar_t* name : {L"app1", L"app2", L"app3"})
        add(name);
    EXPECT_EQ(m_server.WaitFor(3).size(), 3U);
    EXPECT_TRUE(Register("{}", 2, 2));
    add(L"after");
    engine.Stop();
    EXPECT_EQ(m_provider.observer, nullptr);
    engine.UnInit();
    EXPECT_TRUE(LogHas(L"IVelora::ResponseGetStatus status=500"));
    const auto requests = m_server.WaitFor(3);
    ASSERT_EQ(requests.size(), 3U);
    for (size_t i = 0; i < requests.size(); ++i)
        EXPECT_NE(requests[i].find("app" + std::to_string(i + 1)), std::string::npos);
}

TEST_F(Cloud, WhateverTheServerDoesCostsTheTimeOutAtMost) {
    struct Case {
        std::string answer;
        bool isSlow;
        int32_t error;  // -1 for any
        int32_t status;
    };
    const std::string large = LoopbackServer::Answered("200 OK", std::string(2000000, 'x'));
    const Case cases[] = {
        {LoopbackServer::Answered("200 OK", "good"), false, 0, 0},
        {LoopbackServer::Answered("503 No", "busy"), false, 0, 503},
        {"HTTP/1.1 302 No\r\nLocation: /other\r\nContent-Length: 0\r\n\r\n", false, 0, 302},
        {"nonsense\r\n\r\n", false, -1, 0},
        {large, false, ERROR_FILE_TOO_LARGE, 0},
        {large.substr(0, 100), false, -1, 0},
        {"", false, -1, 0},
        {"", true, ERROR_WINHTTP_TIMEOUT, 0},
        {large, true, ERROR_WINHTTP_TIMEOUT, 0},
    };
    auto* const velora = static_cast<IVelora*>(m_cloud.Get()->GetInterface(kVeloraName));
    VeloraRequest* const request = velora->RequestCreate();
    // A busy machine may take long over an answer that comes; one that doesn't come needn't be waited for
    // long.
    constexpr DWORD kTimeoutMs = 400;
    constexpr DWORD kAmpleMs = 8000;
    VeloraResponse* response = nullptr;
    size_t asked = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.answer.substr(0, 30));
        m_server.Treat(c.answer, c.isSlow);
        const DWORD limitMs = c.isSlow ? kTimeoutMs : kAmpleMs;
        velora->RequestSetTimeout(request, limitMs);
        const ULONGLONG start = GetTickCount64();
        const int32_t error = velora->Ask(request, &response);
        EXPECT_LT(GetTickCount64() - start, limitMs + 1000);
        EXPECT_TRUE(error == c.error || (c.error == -1 && error != 0)) << error;
        EXPECT_EQ(m_server.WaitFor(++asked).size(), asked) << "a redirection isn't followed";
        if (error != 0) continue;
        EXPECT_EQ(velora->ResponseGetStatus(response), c.status);
        velora->FreeResponse(response);
    }
    m_product.cloud = L"http://127.0.0.1:1";
    EXPECT_EQ(m_cloud.Get()->Init(&m_host), 0U);
    const ULONGLONG start = GetTickCount64();
    EXPECT_NE(velora->Ask(request, &response), 0) << "nobody is there";
    EXPECT_LT(GetTickCount64() - start, kTimeoutMs + 1000);
    velora->RequestDestroy(request);
    velora->Release();
}

TEST_F(Cloud, NothingIsSentWithoutASafeAddress) {
    CCloudFactory& factory = CCloudFactory::GetInstance();
    for (const wchar_t* address :
         {L"", L"http://cloud.example.com/", L"ftp://127.0.0.1/", L"https://ann@x/"}) {
        m_product.cloud = address;
        EXPECT_EQ(m_cloud.Get()->Init(&m_host), 0U);
        EXPECT_EQ(factory.Init(&m_host.manager), 0U);
        const test_support::TraceRecorder fresh;
        std::string response;
        CCloudRequest("services/optimizer", nullptr).Exec("{}", response);
        EXPECT_TRUE(LogHas(L"IVelora::Ask failed 1168")) << Narrow(address);
    }
    EXPECT_EQ(factory.Load(L"hostplugins.dll"), 0U);
    EXPECT_EQ(m_host.manager.references[L"icloud"], 0) << "the other way in gave the plug-in back";
    IVelora* const loaded = factory.GetRequest();
    ASSERT_NE(loaded, nullptr);
    loaded->Release();
    m_host.manager.plugins.clear();
    EXPECT_NE(m_client.Init(&m_host), 0U) << "but it works without them all";
    EXPECT_EQ(factory.GetRequest(), nullptr);
    m_client.Start();
    m_client.UnInit();
    for (const wchar_t* line :
         {L"Error getting RegAL plugin!", L"Error getting Optimizer Process DP",
          L"Cloud Factory init failed!", L"CCloudFactory::GetInstance::GetRequest failed"})
        EXPECT_TRUE(LogHas(line)) << Narrow(line);
}

TEST_F(Cloud, TheRegistrationIsOnlyTakenFromAProtectedFile) {
    const std::string ann = R"({"email":"ann","token":"secret","authenticated":true,"partnerId":7})";
    EXPECT_TRUE(Register(R"({"email":"ann","token":"secreter","authenticated":true,"partnerId":8})", 1, 1));
    EXPECT_TRUE(Register(R"({"email":"ann","token":"secret","authenticated":true,"partnerId":8})", 1, 2));
    EXPECT_TRUE(Register(ann, 2, 2));
    EXPECT_TRUE(Register(ann, 3, 3, L"D:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FR;;;WD)")) << "everybody could read it";
    EXPECT_TRUE(Register(ann, 4, 4));
    EXPECT_TRUE(Register(R"({"email":"ann","token":"secret)", 5, 5));
    EXPECT_TRUE(LogHas(L"is not a JSON object") && LogHas(L"others than administrators"));
    EXPECT_FALSE(LogHas(L"secret"));
}

}  // namespace
}  // namespace optimizer
