// What leaves for the cloud, from the provider's event to the server's socket: the client with the host's own
// "icloud", "regal" and queue.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>

#include <gtest/gtest.h>

#include <windows.h>

#include <sddl.h>
#include <winhttp.h>

#include "cloud/cloud_apps_client.h"
#include "cloud/cloud_factory.h"
#include "frame/text.h"
#include "frame/vx_list.h"
#include "framework/event_queue.h"
#include "profile/optimizer_plugin.h"
#include "tests/cloud/loopback_server.h"
#include "tests/support/fake_host.h"
#include "tests/support/fake_product_info.h"
#include "tests/support/simulated_log.h"
#include "tools/rig/scratch_services.h"
#include "tools/rig/temporary_folder.h"

namespace optimizer {
namespace {

using profiles::profile;
using test_support::LoopbackServer;
using Way = LoopbackServer::Way;

struct Entry final : IOptimizerProcessEntry {
    Entry(const wchar_t* n, const wchar_t* p) : name(n), product(p) {}
    void Reserved0() override {}
    void Reserved1() override {}
    void Reserved2() override {}
    void Reserved3() override {}
    void Reserved4() override {}
    const wchar_t* GetApplicationName() const override { return name; }
    void Reserved6() override {}
    const wchar_t* GetProductName() const override { return product; }
    const wchar_t* name;
    const wchar_t* product;
};

/// The host's list of applications, whose user the test is.
struct Provider final : IOptimizerProcessDP {
    void* QueryInterface(const Identifier* iid) override { return *iid == kIdentifier ? this : nullptr; }
    uint32_t Init(IServMain*) override { return 0; }
    void UnInit() override {}
    uint32_t Start() override { return 0; }
    uint32_t Stop() override { return 0; }
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
             ProcessEventKind kind = ProcessEventKind::Entries) {
        vx::List<Entry, IOptimizerProcessEntry> list;
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
        m_regal.Get()->RegisterCallback(RegistrationChange::Status, &NoteStatus, this);
        m_regal.Get()->RegisterCallback(RegistrationChange::Account, &NoteAccount, this);
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

    /// Puts the registration file in place, and waits until the callbacks have heard so much in all.
    std::string Register(const std::string& text, const std::string& heard,
                         const wchar_t* access = L"D:P(A;;FA;;;SY)(A;;FA;;;BA)") {
        const std::wstring fresh = m_folder.File(L"optimizer\\new.json");
        rig::WriteFileText(fresh, text);
        LocalMemory descriptor;
        ConvertStringSecurityDescriptorToSecurityDescriptorW(access, SDDL_REVISION_1, descriptor.Receive(),
                                                             nullptr);
        EXPECT_TRUE(SetFileSecurityW(fresh.c_str(), DACL_SECURITY_INFORMATION, descriptor.Get()));
        // The plug-in may be looking at the file that is replaced.
        EXPECT_TRUE(rig::WaitUntil([&] {
            return MoveFileExW(fresh.c_str(), m_folder.File(L"optimizer\\registration.json").c_str(),
                               MOVEFILE_REPLACE_EXISTING);
        }));
        std::unique_lock lock(m_heardLock);
        m_heardMore.wait_for(lock, std::chrono::seconds(10), [&] { return m_heard.size() >= heard.size(); });
        return m_heard;
    }

    void Hear(char what) {
        const std::lock_guard guard(m_heardLock);
        m_heard += what;
        m_heardMore.notify_all();
    }
    static void NoteStatus(void* self) { static_cast<Cloud*>(self)->Hear('S'); }
    static void NoteAccount(void* self) { static_cast<Cloud*>(self)->Hear('A'); }

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
    std::mutex m_heardLock;
    std::condition_variable m_heardMore;
    std::string m_heard;  // guarded by m_heardLock
};

TEST_F(Cloud, ADocumentArrivesByteForByteAndItsTokenIsInNoLog) {
    m_server.Treat(Way::Answer, LoopbackServer::Answered("200 OK", "thanks, 5/e\"cret"));
    EXPECT_EQ(
        Register(R"({"email":"\u00e4nn@x","token":"5/e\"cret","authenticated":true,"partnerId":-7})", "SA"),
        "SA");
    ASSERT_EQ(m_client.Init(&m_host), 0U);
    m_client.Start();
    m_provider.Add(profile::Game,
                   {{L"spiel\u00fc\u4e16\U0001f3ae.exe", L"\u00c4 \"B\""}, {L"b.exe", nullptr}});
    m_provider.Add(profile::Battery, {});
    const auto requests = m_server.WaitFor(2);
    m_client.Stop();
    m_client.UnInit();
    ASSERT_EQ(requests.size(), 2U);
    const std::string source =
        "\"velora_source\":{\"partner_id\":\"-7\",\"user_email\":\"\xC3\xA4nn@x\","
        "\"user_token\":\"5\\/e\\\"cret\"}}}";
    EXPECT_EQ(requests[0].line, "POST /base/services/optimizer HTTP/1.1");
    EXPECT_EQ(requests[0].body,
              "{\"jsonrpc\":\"2.0\",\"method\":\"add_process_info\",\"params\":{\"apps\":["
              "{\"app_name\":\"spiel\xC3\xBC\xE4\xB8\x96\xF0\x9F\x8E\xAE.exe\",\"category\":\"game\","
              "\"product_name\":\"\xC3\x84 \\\"B\\\"\"},"
              "{\"app_name\":\"b.exe\",\"category\":\"game\",\"product_name\":\"\"}]," +
                  source);
    EXPECT_EQ(requests[1].body,
              R"({"jsonrpc":"2.0","method":"add_process_info","params":{"apps":[],)" + source);
    EXPECT_TRUE(LogHas(L"Response: thanks, ***"));
    EXPECT_TRUE(LogHas(L"Serialization result: {") && LogHas(L"Request: {"));
    EXPECT_FALSE(LogHas(L"cret"));
}

TEST_F(Cloud, RequestsGoOneByOneInOrderAndOnlyForWhoIsSignedIn) {
    const auto add = [&](const wchar_t* name) { m_provider.Add(profile::Work, {{name, L""}}); };
    COptimizerPlugin engine;
    ASSERT_EQ(engine.Init(&m_host), 0U);
    ASSERT_EQ(engine.Start(), 0U);
    add(L"before");
    EXPECT_TRUE(LogHas(L"User not authenticated!"));
    EXPECT_EQ(Register(R"({"email":"e","token":"t","authenticated":true})", "SA"), "SA");
    m_server.Treat(Way::Answer, LoopbackServer::Answered("500 No", "x"));
    m_provider.Add(profile::Work, {{L"list", L""}}, ProcessEventKind::List);
    for (const wchar_t* name : {L"app1", L"app2", L"app3"})
        add(name);
    EXPECT_EQ(m_server.WaitFor(3).size(), 3U);
    EXPECT_EQ(Register("{}", "SASA"), "SASA");
    add(L"after");
    engine.Stop();
    EXPECT_EQ(m_provider.observer, nullptr);
    engine.UnInit();
    EXPECT_TRUE(LogHas(L"IVelora::ResponseGetStatus status=500"));
    const auto requests = m_server.WaitFor(3);
    ASSERT_EQ(requests.size(), 3U);
    for (size_t i = 0; i < requests.size(); ++i)
        EXPECT_NE(requests[i].body.find("app" + std::to_string(i + 1)), std::string::npos);
    EXPECT_FALSE(m_server.HadTwoAtOnce());
}

TEST_F(Cloud, WhateverTheServerDoesCostsTheTimeOutAtMost) {
    struct Case {
        Way way;
        std::string answer;
        int32_t error;  // -1 for any
        int32_t status;
        std::string text;
    };
    const std::string chunks =
        "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n";
    const std::string good = LoopbackServer::Answered("200 OK", std::string(100, 'x'));
    const Case cases[] = {
        {Way::Answer, chunks, 0, 0, "abcde"},
        {Way::Answer, LoopbackServer::Answered("503 No", "busy"), 0, 503, ""},
        {Way::Answer, LoopbackServer::Answered("302 No", "", "Location: /other\r\n"), 0, 302, ""},
        {Way::Answer, "nonsense\r\n\r\n", -1, 0, ""},
        {Way::Answer, LoopbackServer::Answered("200 OK", std::string(2000000, 'x')), ERROR_FILE_TOO_LARGE, 0,
         ""},
        {Way::HangUp, "", -1, 0, ""},
        {Way::HangUpHalf, good, -1, 0, ""},
        {Way::Silent, "", ERROR_WINHTTP_TIMEOUT, 0, ""},
        {Way::Drip, LoopbackServer::Answered("200 OK", std::string(5000, 'x')), ERROR_WINHTTP_TIMEOUT, 0, ""},
    };
    auto* const velora = static_cast<IVelora*>(m_cloud.Get()->GetInterface(kVeloraName));
    VeloraRequest* const request = velora->RequestCreate();
    constexpr DWORD kTimeoutMs = 400;
    velora->RequestSetTimeout(request, kTimeoutMs);
    velora->RequestSetTarget(request, "services/optimizer");
    size_t asked = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(asked) + " " + c.answer.substr(0, 30));
        m_server.Treat(c.way, c.answer);
        VeloraResponse* response = nullptr;
        const ULONGLONG start = GetTickCount64();
        const int32_t error = velora->Ask(request, &response);
        EXPECT_LT(GetTickCount64() - start, kTimeoutMs + 1000);
        EXPECT_TRUE(error == c.error || (c.error == -1 && error != 0)) << error;
        EXPECT_EQ(m_server.WaitFor(++asked).size(), asked) << "a redirection isn't followed";
        ASSERT_EQ(response != nullptr, error == 0);
        if (response == nullptr) continue;
        EXPECT_EQ(velora->ResponseGetStatus(response), c.status);
        std::string text;
        const void* data = nullptr;
        uint32_t size = 0;
        for (uint32_t i = 0; velora->ResponseGetPart(response, i, &data, &size) != IVelora::kNoMoreParts; ++i)
            text.append(static_cast<const char*>(data), size);
        EXPECT_EQ(text, c.text);
        velora->FreeResponse(response);
    }
    m_product.cloud = L"http://127.0.0.1:1";
    EXPECT_EQ(m_cloud.Get()->Init(&m_host), 0U);
    VeloraResponse* nothing = nullptr;
    EXPECT_NE(velora->Ask(request, &nothing), 0) << "nobody is there";
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
        std::string response;
        CCloudRequest("services/optimizer", nullptr).Exec("{}", response);
        EXPECT_TRUE(LogHas(L"IVelora::Ask failed 1168")) << Narrow(address);
        EXPECT_EQ(response, "");
    }
    EXPECT_EQ(factory.Load(L"hostplugins.dll"), 0U);
    EXPECT_EQ(m_host.manager.references[L"icloud"], 0) << "the other way in gave the plug-in back";
    CCloudRequest("x", nullptr);
    factory.Free();
    factory.Free();
    EXPECT_FALSE(LogHas(L"GetRequest failed"));
    CCloudRequest("x", nullptr);
    EXPECT_TRUE(LogHas(L"CCloudFactory::GetInstance::GetRequest failed"));
    m_host.manager.plugins.clear();
    EXPECT_NE(m_client.Init(&m_host), 0U) << "but it works without them all";
    m_client.Start();
    m_client.Stop();
    m_client.UnInit();
    EXPECT_TRUE(LogHas(L"Error getting RegAL plugin!") && LogHas(L"Error getting Optimizer Process DP") &&
                LogHas(L"Cloud Factory init failed!"));
    EXPECT_EQ(m_server.WaitFor(0).size(), 0U);
}

TEST_F(Cloud, TheRegistrationIsOnlyTakenFromAProtectedFile) {
    const std::string ann = R"({"email":"ann","token":"secret","authenticated":true,"partnerId":7})";
    const auto authenticated = [&] {
        bool result = false;
        m_regal.Get()->Read(
            [](void* out, const RegistrationFields* fields) {
                *static_cast<bool*>(out) = fields->authenticated != 0;
            },
            &result);
        return result;
    };
    std::string heard = "SA";
    EXPECT_EQ(Register(ann, heard), heard);
    EXPECT_TRUE(authenticated());
    EXPECT_EQ(
        Register(R"({"email":"ann","token":"secret","authenticated":true,"partnerId":8})", heard += "S"),
        heard);
    EXPECT_EQ(
        Register(R"({"email":"ann","token":"secreter","authenticated":true,"partnerId":8})", heard += "A"),
        heard);
    EXPECT_EQ(Register(ann, heard += "SA", L"D:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FR;;;WD)"), heard);
    EXPECT_FALSE(authenticated()) << "everybody could read the token";
    EXPECT_EQ(Register(ann, heard += "SA"), heard);
    EXPECT_EQ(Register(R"({"email":"ann","token":"secret)", heard += "SA"), heard);
    EXPECT_FALSE(authenticated());
    EXPECT_TRUE(LogHas(L"is not a JSON object") && LogHas(L"others than administrators"));
    EXPECT_FALSE(LogHas(L"secret"));
}

}  // namespace
}  // namespace optimizer
