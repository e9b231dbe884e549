// The agents' pipe: what a hostile agent sends to the service, and a hostile service to an agent.
#include <cstring>

#include <windows.h>

#include "actions/visual_fx_params.h"
#include "border/optimizer_agent.h"
#include "comm/byte_stream.h"
#include "comm/optimizer_agent.h"
#include "comm/optimizer_agent_server.h"
#include "tests/support/fake_connector.h"
#include "tests/support/fake_host.h"
#include "tools/fuzz/answering_connector.h"
#include "tools/fuzz/target.h"

namespace {

/// The session's effects are nobody's here.
BOOL WINAPI ParametersInfo(UINT, UINT, void*, UINT) {
    return TRUE;
}
LRESULT WINAPI Broadcast(HWND, UINT, WPARAM, LPARAM, UINT, UINT, PDWORD_PTR) {
    return 1;
}

}  // namespace

extern "C" {
decltype(&SystemParametersInfoW) __imp_SystemParametersInfoW = &ParametersInfo;
decltype(&SendMessageTimeoutW) __imp_SendMessageTimeoutW = &Broadcast;
}

namespace fuzz {

namespace {

using optimizer::CByteStream;

/// Reads reports as the visual effects do.
struct ReportReader final : IOptimizerAgentEvents {
    void Reserved0() override {}
    void Reserved1() override {}
    void OnAgentData(const void* payload, int32_t sizeBytes) override {
        CByteStream report(payload, static_cast<size_t>(sizeBytes));
        optimizer::VisualEffectValues values;
        values.FromText(report.ReadNarrowString());
        found = values.effects.size();
    }
    size_t found = 0;
};

std::string Packed(const char* text) {
    CByteStream stream;
    stream.WriteNarrowString(text);
    return {static_cast<const char*>(stream.Data()), stream.SizeBytes()};
}

constexpr const char* kReport = R"([{"name":"minimize_animations","action":1}])";

class AgentPipe final : public Target {
public:
    AgentPipe() : m_isReady(_Begin()) {}
    ~AgentPipe() override {
        m_server.UnregisterObserver(&m_reports, &m_reader);
        m_server.Stop();
        m_server.UnInit();
    }

    bool Try(Hostile& hostile) override {
        const uint32_t id = hostile.OneIn(2) ? kReports : hostile.MessageId();
        hostile.Note("message " + std::to_string(id));
        m_reader.found = 0;
        m_connector.end.Bring(id, hostile.Payload(hostile.OneIn(3) ? "k" : "r"), hostile.OneIn(2),
                              hostile.Number());
        return m_reader.found != 0;
    }
    bool IsSound() override {
        m_connector.end.Bring(kReports, Packed(kReport), false);
        return m_isReady && m_reader.found == 1;
    }

private:
    bool _Begin() {
        m_host.manager.plugins = {{L"connserver", &m_connector}};
        return m_server.Init(&m_host) == 0 && m_server.Start() == 0 &&
               m_server.RegisterObserver(&m_reports, &m_reader) == 0;
    }

    static constexpr auto kReports = static_cast<uint32_t>(optimizer::NpcMsgAgent::VisualEffects);

    const int32_t m_reports = kReports;

    test_support::FakeHost m_host;
    AnsweringConnector m_connector;
    optimizer::COptimizerAgentServer m_server;
    ReportReader m_reader;
    bool m_isReady = false;
};

class SessionAgent final : public Target {
public:
    SessionAgent() : m_isReady(_Begin()) {}
    ~SessionAgent() override {
        m_agent.Stop();
        m_agent.UnInit();
    }

    bool Try(Hostile& hostile) override {
        const uint32_t id = hostile.OneIn(2) ? 2 : hostile.MessageId();
        hostile.Note("message " + std::to_string(id));
        return _Deliver(id, hostile.Payload(hostile.OneIn(2) ? "urrr" : "uk")) == 0;
    }
    bool IsSound() override {
        const std::string read("\x03\0\0\0", 4);
        if (!m_isReady || _Deliver(2, read + Packed(kReport)) != 0) return false;
        const auto& sent = m_connector.client.ends.front().sent;
        return sent.size() == 1 &&
               sent[0].payload == Packed(R"([{"action":0,"name":"minimize_animations"}])");
    }

private:
    bool _Begin() {
        m_host.manager.plugins = {{L"connclient", &m_connector.client}};
        return m_agent.Init(&m_host) == 0 && m_agent.Start() == 0;
    }

    uint32_t _Deliver(uint32_t id, const std::string& payload) {
        test_support::FakeEndpoint& end = m_connector.client.ends.front();
        end.sent.clear();
        end.replies.clear();
        end.Deliver(id, payload, ConnectorMessage::kSenderWaits);
        return end.replies.size() == 1 ? end.replies[0] : ~0U;
    }

    test_support::FakeHost m_host;
    test_support::FakeConnector m_connector;
    optimizer::COptimizerAgent m_agent;
    bool m_isReady = false;
};

}  // namespace

std::unique_ptr<Target> MakeAgentPipe() {
    return std::make_unique<AgentPipe>();
}

std::unique_ptr<Target> MakeSessionAgent() {
    return std::make_unique<SessionAgent>();
}

}  // namespace fuzz
