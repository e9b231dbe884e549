#include "comm/optimizer_agent.h"

#include <string>
#include <utility>

#include <windows.h>

#include "actions/visual_fx_agent.h"
#include "border/optimizer_agent.h"
#include "comm/agent_pipe.h"
#include "comm/byte_stream.h"
#include "frame/guarded.h"
#include "frame/object_factory.h"
#include "frame/trace.h"

namespace optimizer {

namespace {

constexpr const wchar_t* kConnector = L"connclient";
constexpr uint32_t kConnectPatienceMs = 5000;

/// Tells all windows of the session that a setting of that area changed; whether they hear it is theirs.
void BroadcastSettingChange(const wchar_t* area, UINT timeoutMs) {
    DWORD_PTR result = 0;
    SendMessageTimeoutW(HWND_BROADCAST, WM_SETTINGCHANGE, 0, reinterpret_cast<LPARAM>(area),
                        SMTO_BLOCK | SMTO_ABORTIFHUNG, timeoutMs, &result);
}

}  // namespace

void* COptimizerAgent::QueryInterface(const Identifier* iid) {
    return AnswerFor<IPlainPlugin>(this, iid);
}

uint32_t COptimizerAgent::Init(IServMain* main) {
    m_log.Get();
    const uint32_t error = Guarded([&] { return _Init(main); });
    if (error != ERROR_SUCCESS) UnInit();
    return error;
}

uint32_t COptimizerAgent::_Init(IServMain* main) {
    TRACE_SCOPE("COptimizerAgent::Init");
    if (main == nullptr) {
        TRACE_LINE(trace::kError, L"IServMain is null!");
        return ERROR_INVALID_HANDLE;
    }
    m_main = main;
    m_components = main->GetComponentManager();
    if (m_components == nullptr) {
        TRACE_LINE(trace::kError, L"Component Manager is null!");
        return ERROR_GEN_FAILURE;
    }
    void* plugin = nullptr;
    const uint32_t error = m_components->GetPlugin(kConnector, &IConnectorClient::kIdentifier, &plugin);
    if (error != ERROR_SUCCESS || plugin == nullptr) {
        TRACE_LINE(trace::kError, L"Connector server plugin is null!");
        return error != ERROR_SUCCESS ? error : uint32_t{ERROR_GEN_FAILURE};
    }
    m_connector = static_cast<IConnectorClient*>(plugin);
    m_endpoint = m_connector->connectPipe(kAgentPipeName, 1, kCommonPipeName, kConnectPatienceMs);
    if (m_endpoint == nullptr) {
        TRACE_LINE(trace::kError, L"Could not create comm server!");
        return ERROR_GEN_FAILURE;
    }
    m_bootLauncher.Init(main);
    return ERROR_SUCCESS;
}

void COptimizerAgent::UnInit() {
    TRACE_SCOPE("COptimizerAgent::UnInit");
    if (m_endpoint != nullptr) m_connector->disconnectPipe(std::exchange(m_endpoint, nullptr));
    if (std::exchange(m_connector, nullptr) != nullptr) m_components->ReleasePlugin(kConnector);
    m_bootLauncher.UnInit();
    m_components = nullptr;
    m_main = nullptr;
    m_log.Release();
}

uint32_t COptimizerAgent::Start() {
    TRACE_SCOPE("COptimizerAgent::Start");
    TRACE_LINE(trace::kInformation, L"Start receiving messages");
    if (m_endpoint == nullptr) return ERROR_GEN_FAILURE;
    m_endpoint->setCallback(&_Receive, this, 1);
    m_endpoint->postMessage(static_cast<uint32_t>(NpcMsgAgent::Started), nullptr, 0, 0);
    return Guarded([&] {
        m_bootLauncher.Start();
        return uint32_t{ERROR_SUCCESS};
    });
}

uint32_t COptimizerAgent::Stop() {
    TRACE_SCOPE("COptimizerAgent::Stop");
    if (m_endpoint != nullptr) {
        m_endpoint->postMessage(static_cast<uint32_t>(NpcMsgAgent::Stopping), nullptr, 0, 0);
        TRACE_LINE(trace::kInformation, L"Stop receiving messages");
        m_endpoint->stopReceiving(1);
    }
    m_bootLauncher.Stop();
    return ERROR_SUCCESS;
}

uint32_t COptimizerAgent::_Receive(void* context, const ConnectorMessage* message) noexcept {
    if (context == nullptr) return ERROR_GEN_FAILURE;
    return static_cast<COptimizerAgent*>(context)->NpcCallback(message);
}

uint32_t COptimizerAgent::NpcCallback(const ConnectorMessage* message) {
    TRACE_SCOPE("COptimizerAgent::NpcCallback");
    if (message == nullptr) return ERROR_GEN_FAILURE;
    const uint32_t status = Guarded([&] { return _Carry(*message); });
    if (SenderWaits(message)) m_endpoint->replyStatus(message, status);
    return ERROR_SUCCESS;
}

/// The status for a sender that waits.
uint32_t COptimizerAgent::_Carry(const ConnectorMessage& message) {
    switch (static_cast<NpcMsgAgent>(message.id)) {
        case NpcMsgAgent::PolicyChanged:
            BroadcastSettingChange(L"Policy", 300);
            return ERROR_SUCCESS;
        case NpcMsgAgent::VisualEffects:
            _RunVisualEffects(message);
            return ERROR_SUCCESS;
        case NpcMsgAgent::BalloonChanged:
            BroadcastSettingChange(L"intl", 200);
            return ERROR_SUCCESS;
        default:
            return ERROR_GEN_FAILURE;
    }
}

void COptimizerAgent::_RunVisualEffects(const ConnectorMessage& message) {
    CByteStream command(PayloadOf(&message), message.sizeBytes);
    const std::string result = RunVisualEffectsCommand(command);
    CByteStream answer;
    answer.WriteNarrowString(result.c_str());
    m_endpoint->postMessage(message.id, answer.Data(), answer.SizeBytes(), 0);
}

}  // namespace optimizer
