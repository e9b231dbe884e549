// Both ends of the boot-time pipe over the real connector: figures arrive as they were measured, states and
// errors as they are, and payloads that are wrong do no harm.
#include <gmock/gmock.h>

#include "comm/boot_time_comm.h"
#include "comm/boot_time_comm_client.h"
#include "comm/boot_time_records.h"
#include "frame/exported_object.h"
#include "frame/module_path.h"
#include "frame/vx_list.h"
#include "tests/support/fake_boot_time.h"
#include "tests/comm/pipe_fixture.h"
#include "tests/support/inbox.h"

namespace boottime {
namespace {

using optimizer::CByteStream;
using optimizer::ExportedObject;
using test_support::Impact;
using testing::ElementsAre;

constexpr ProcessCounters kFirst = {10, 20, -1073741824, 40, 50};
constexpr ProcessCounters kSecond = {-1, 0, 0x7FFFFFFF, 0, 7};

class Listener final : public IBootTimeEvents, public IBootTimeResponse {
public:
    void OnDataAnalysed(uint32_t status) override { heard.Add(L"analysed " + std::to_wstring(status)); }
    void OnGetBootTime(const uint32_t* error, uint32_t timeMs) override {
        _Add(L"time ", *error, std::to_wstring(timeMs));
    }
    void OnGetTotalBootImpact(const uint32_t* error, const ProcessCounters* total) override {
        _Add(L"total ", *error, TextOf(*total));
    }
    void OnGetBootImpact(const uint32_t* error, ImpactList* list) override {
        _Add(L"list ", *error, list != nullptr ? TextOf(*list) : L"null");
    }
    void OnGetDiskSpeed(const uint32_t* error, const DiskSpeed* speed) override {
        _Add(L"disk ", *error, TextOf(*speed));
    }

    test_support::Inbox heard;

private:
    void _Add(const wchar_t* what, uint32_t error, const std::wstring& value) {
        heard.Add(what + std::to_wstring(error) + L" " + value);
    }
};

using Fixture = test_support::PipeFixture<test_support::FakeBootTime<IBootTime>, CBootTimeComm,
                                          CBootTimeCommClient, Listener>;

class BootTimePipe : public Fixture {
protected:
    BootTimePipe() : Fixture(L"boottime") {
        m_plugin.processes = {Impact(4, L"C:\\first.exe", kFirst), Impact(612, L"", kSecond)};
    }

    std::wstring ListOf(uint64_t pid = 0) {
        ProcessImpact filter = Impact(pid, L"", {});
        filter.ppid = 0;
        EXPECT_EQ(m_client.GetBootImpact(&m_list, &filter), 0U);
        return TextOf(m_list);
    }

    vx::List<ProcessImpact> m_list;
    ProcessImpact m_all = {};
};

TEST_F(BootTimePipe, FiguresAndStatesReachTheCaller) {
    uint32_t timeMs = 0;
    ProcessCounters total = {-5, -6, -7, -8, -9};
    DiskSpeed speed = {};
    EXPECT_EQ(m_client.GetBootTime(&timeMs), 0U);
    EXPECT_EQ(timeMs, 42370U);
    EXPECT_EQ(m_client.GetTotalBootImpact(&total), 0U);
    EXPECT_EQ(TextOf(total), TextOf(ProcessCounters{42370, -6, -7, -8, -9})) << "the boot time, as ever";
    EXPECT_EQ(m_client.GetDiskSpeed(&speed), 0U);
    EXPECT_EQ(TextOf(speed), TextOf(m_plugin.speed));
    const std::wstring first = L"ppid=0 pid=4 name=C:\\first.exe " + TextOf(kFirst) + L", ";
    const std::wstring second = L"ppid=100 pid=612 name= " + TextOf(kSecond) + L", ";
    EXPECT_EQ(ListOf(), first + second);
    EXPECT_EQ(ListOf(612), first + second + second) << "new elements go behind the old ones";
    ProcessImpact filter = Impact(7, L"a.exe", {});
    EXPECT_EQ(m_client.GetBootImpact(&m_list, &filter), 0U);
    EXPECT_EQ(m_plugin.filtered, L"0/7/a.exe");
    EXPECT_EQ(m_list.GetCount(), 3U);

    for (const uint32_t status : {kStillMeasuring, kNoResults}) {
        m_plugin.result = status;
        m_plugin.diskResult = status;
        EXPECT_EQ(m_client.GetBootTime(&timeMs), status);
        EXPECT_EQ(m_client.GetTotalBootImpact(&total), status);
        EXPECT_EQ(m_client.GetBootImpact(&m_list, &m_all), status);
        EXPECT_EQ(m_client.GetDiskSpeed(&speed), status);
    }
    m_server.Stop();
    EXPECT_EQ(m_client.GetBootTime(&timeMs), kNoResults) << "a connection that broke";
    EXPECT_NE(m_client.GetBootTimeAsync(), 0U);
    EXPECT_EQ(timeMs, 42370U);
    EXPECT_EQ(m_list.GetCount(), 3U);
}

TEST_F(BootTimePipe, RequestsThatDoNotWaitAndTheEventComeAsMessages) {
    const auto askAll = [&] {
        EXPECT_EQ(m_client.GetBootTimeAsync(), 0U);
        EXPECT_EQ(m_client.GetTotalBootImpactAsync(), 0U);
        ProcessImpact filter = Impact(612, L"", {});
        EXPECT_EQ(m_client.GetBootImpactAsync(&filter), 0U);
        EXPECT_EQ(m_client.GetDiskSpeedAsync(), 0U);
    };
    askAll();
    EXPECT_THAT(m_listener.heard.Take(4),
                ElementsAre(L"time 0 42370", L"total 0 " + TextOf(m_plugin.total),
                            L"list 0 ppid=100 pid=612 name= " + TextOf(kSecond) + L", ",
                            L"disk 0 " + TextOf(m_plugin.speed)));
    m_plugin.result = m_plugin.diskResult = kStillMeasuring;
    askAll();
    EXPECT_THAT(m_listener.heard.Take(4), ElementsAre(L"time 1 0", L"total 1 " + TextOf(ProcessCounters{}),
                                                      L"list 1 ", L"disk 1 " + TextOf(DiskSpeed{})));
    m_plugin.events.ForEach([](IBootTimeEvents* events) { events->OnDataAnalysed(2); });
    EXPECT_THAT(m_listener.heard.Take(1), ElementsAre(L"analysed 2"));
}

/// A server of the test's that answers with a payload of its making.
class WrongAnswers final {
public:
    WrongAnswers() {
        EXPECT_EQ(m_connector.Load(optimizer::GetModuleFolder() + L"connector.dll", L"connserver"), 0U);
        m_end = m_connector.Get()->registerPipe(kBootTimePipe, kCommonPipeName);
        m_end->setCallback(&_Receive, this, 1);
    }
    ~WrongAnswers() { m_connector.Get()->unregisterPipe(m_end); }
    WrongAnswers(const WrongAnswers&) = delete;
    WrongAnswers& operator=(const WrongAnswers&) = delete;

    /// To each request.
    void Answer(const CByteStream& stream) {
        payload.assign(static_cast<const char*>(stream.Data()), stream.SizeBytes());
    }
    /// The same, and as a message of each number to every client.
    void Say(const CByteStream& stream) {
        Answer(stream);
        for (const uint32_t id : {1, 2, 3, 4, 10, 11, 12, 13, 20, 99})
            m_end->broadcast(id, payload.data(), stream.SizeBytes(), 0, 0, kEveryClient);
    }

    std::string payload;

private:
    static uint32_t _Receive(void* context, const ConnectorMessage* message) {
        auto* const self = static_cast<WrongAnswers*>(context);
        self->m_end->replyData(message, message->id, self->payload.data(),
                               static_cast<uint32_t>(self->payload.size()));
        return 0;
    }

    ExportedObject<IConnectorServer> m_connector;
    ConnectorEndpoint* m_end = nullptr;
};

TEST_F(BootTimePipe, AnswersThatAreWrongDoNoHarm) {
    m_server.Stop();
    m_client.Stop();
    WrongAnswers wrong;
    ASSERT_EQ(m_client.Start(), 0U);
    CByteStream tooShort;
    tooShort.WriteUint32(3);
    WriteFilter(tooShort, m_plugin.processes[0]);
    Write(tooShort, kFirst);
    tooShort.Write("\x07", 1);
    wrong.Say(tooShort);
    const std::wstring zeros = L"ppid=0 pid=0 name= " + TextOf(ProcessCounters{}) + L", ";
    const std::wstring list = L"ppid=0 pid=4 name=C:\\first.exe " + TextOf(kFirst) + L", " + zeros + zeros;
    EXPECT_EQ(ListOf(), list) << "what is missing is zeros";
    const std::vector<std::wstring> heard = m_listener.heard.Take(3);
    ASSERT_EQ(heard.size(), 3U) << "one number where it must be one";
    EXPECT_EQ(heard[1], L"list 0 " + list);

    CByteStream endless;
    endless.WriteUint32(0xFFFFFFFF);
    // To the question alone: a long list before it would make the answer late where memory takes its time.
    wrong.Answer(endless);
    m_list.Clear();
    EXPECT_EQ(m_client.GetBootImpact(&m_list, &m_all), 0U);
    EXPECT_EQ(m_list.GetCount(), uint64_t{kMostElements});
}

TEST_F(BootTimePipe, RequestsThatAreWrongDoNoHarm) {
    ExportedObject<IConnectorClient> connector;
    ASSERT_EQ(connector.Load(optimizer::GetModuleFolder() + L"connector.dll", L"connclient"), 0U);
    ASSERT_EQ(connector.Get()->Init(nullptr), 0U);
    ASSERT_EQ(connector.Get()->Start(), 0U);
    ConnectorEndpoint* const raw = connector.Get()->connectPipe(kBootTimePipe, 0, kCommonPipeName, 5000);
    ASSERT_NE(raw, nullptr);
    ConnectorResponse* response = nullptr;
    for (const uint32_t unknown : {0u, 5u, 10u, 20u, 0xFFFFFFFFu})
        EXPECT_EQ(raw->sendMessage(unknown, nullptr, 0, &response, 0, 20), 258U) << unknown;
    ASSERT_EQ(raw->sendMessage(3, "\x02\x02\x02", 3, &response, 0, 5000), 0U);
    EXPECT_EQ(m_plugin.filtered, L"0/0/") << "a filter that is too short is none";
    raw->freeResponse(response);
    m_plugin.processes.clear();
    ASSERT_EQ(raw->sendMessage(3, nullptr, 0, &response, 0, 5000), 0U);
    EXPECT_EQ(response->sizeBytes, 4U) << "an empty list is its count";
    raw->freeResponse(response);
    connector.Get()->disconnectPipe(raw);
    connector.Get()->Stop();
    connector.Get()->UnInit();
}

}  // namespace
}  // namespace boottime
