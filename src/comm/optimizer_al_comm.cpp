#include "comm/optimizer_al_comm.h"

#include <algorithm>

#include <windows.h>

#include "border/run_report.h"
#include "comm/byte_stream.h"
#include "frame/errors.h"
#include "frame/guarded.h"
#include "frame/object_factory.h"
#include "frame/trace.h"
#include "frame/vx_string.h"

namespace optimizer {

namespace {

constexpr const wchar_t* kEngine = L"optimizeral";

/// The number that a request begins with; 0 when the payload is too short for one.
uint32_t NumberOf(const ConnectorMessage* message) {
    const size_t sizeBytes = std::min<size_t>(message->sizeBytes, sizeof(uint32_t));
    return CByteStream(PayloadOf(message), sizeBytes).ReadUint32();
}

}  // namespace

const COptimizerALComm::Request COptimizerALComm::kRequests[] = {
    {NpcMsg::OptimizerSetProfile, true, &COptimizerALComm::_SetProfile},
    {NpcMsg::OptimizerGetProfile, false, &COptimizerALComm::_GetProfile},
    {NpcMsg::OptimizerSetProfileConfig, false, &COptimizerALComm::_SetProfileConfig},
    {NpcMsg::OptimizerGetProfileConfig, false, &COptimizerALComm::_GetProfileConfig},
    {NpcMsg::OptimizerModuleEnable, true, &COptimizerALComm::_ModuleEnable},
    {NpcMsg::OptimizerModuleGetEnable, false, &COptimizerALComm::_ModuleGetEnable},
    {NpcMsg::OptimizerStartTask, true, &COptimizerALComm::_StartTask},
    {NpcMsg::OptimizerCancelTask, true, &COptimizerALComm::_CancelTask},
    {NpcMsg::OptimizerGetLastRun, false, &COptimizerALComm::_GetLastRun},
    {NpcMsg::OptimizerGetNotes, false, &COptimizerALComm::_GetNotes},
};

void* COptimizerALComm::QueryInterface(const Identifier* iid) {
    return AnswerFor<IPlainPlugin>(this, iid);
}

uint32_t COptimizerALComm::Init(IServMain* main) {
    TRACE_SCOPE("COptimizerALComm::Init");
    return Guarded([&] {
        void* plugin = nullptr;
        const uint32_t error = m_server.Init(main, kEngine, IOptimizer::kIdentifier, &plugin);
        m_engine = static_cast<IOptimizer*>(plugin);
        if (error != ERROR_SUCCESS) UnInit();
        return error;
    });
}

void COptimizerALComm::UnInit() {
    TRACE_SCOPE("COptimizerALComm::UnInit");
    m_engine = nullptr;
    m_server.UnInit();
}

uint32_t COptimizerALComm::Start() {
    TRACE_SCOPE("COptimizerALComm::Start");
    if (m_engine != nullptr) m_engine->AddEventsObserver(this);
    const uint32_t error = m_server.Start(kOptimizerPipe, &_Receive, this);
    if (error != ERROR_SUCCESS) Stop();
    return error;
}

uint32_t COptimizerALComm::Stop() {
    TRACE_SCOPE("COptimizerALComm::Stop");
    // In this order nothing uses the end any more when it goes: first the events, then the requests.
    if (m_engine != nullptr) m_engine->RemoveEventsObserver(this);
    m_server.Stop();
    return ERROR_SUCCESS;
}

uint32_t COptimizerALComm::_Receive(void* context, const ConnectorMessage* message) noexcept {
    if (context == nullptr) return ERROR_GEN_FAILURE;
    return Guarded([&] { return static_cast<COptimizerALComm*>(context)->NpcCallback(message); });
}

uint32_t COptimizerALComm::NpcCallback(const ConnectorMessage* message) {
    if (message == nullptr) return ERROR_GEN_FAILURE;
    for (const Request& request : kRequests) {
        if (static_cast<uint32_t>(request.id) != message->id) continue;
        if (request.isOneNumber && message->sizeBytes != sizeof(uint32_t)) return ERROR_GEN_FAILURE;
        // Short memory is an error like any other to those who wait.
        const uint32_t error =
            Guarded([&] { return (this->*request.answer)(message), uint32_t{ERROR_SUCCESS}; });
        if (error != ERROR_SUCCESS) m_server.ReplyStatus(message, error);
        return error;
    }
    // No answer: the sender waits until its time is over.
    return ERROR_GEN_FAILURE;
}

void COptimizerALComm::_SetProfile(const ConnectorMessage* message) {
    TRACE_SCOPE("COptimizerALComm::NpcCallback");
    const auto wanted = static_cast<profile>(NumberOf(message));
    TRACE_LINE(trace::kInformation, L"NpcMsgOptimizerSetProfile %d", wanted);
    m_server.ReplyStatus(message, m_engine->SetProfile(&wanted));
}

void COptimizerALComm::_GetProfile(const ConnectorMessage* message) {
    TRACE_SCOPE("COptimizerALComm::NpcCallback");
    TRACE_LINE(trace::kInformation, L"NpcMsgOptimizerGetProfile");
    profile active = profile::Disabled;
    if (m_engine->GetProfile(&active) == ERROR_SUCCESS) {
        m_server.Answer(message, &active, sizeof active);
    } else {
        // The general failure in place of the engine's code: clients know this request by it.
        m_server.ReplyStatus(message, ERROR_GEN_FAILURE);
    }
}

void COptimizerALComm::_SetProfileConfig(const ConnectorMessage* message) {
    TRACE_SCOPE("COptimizerALComm::NpcCallback");
    CByteStream payload(PayloadOf(message), message->sizeBytes);
    const auto which = static_cast<profile>(payload.ReadUint32());
    vx::String config(payload.ReadString().c_str());
    TRACE_LINE(trace::kInformation, L"NpcMsgOptimizerSetProfileConfig %d %s", which, config.Text());
    m_server.ReplyStatus(message, m_engine->SetProfileConfig(&which, &config));
}

void COptimizerALComm::_GetProfileConfig(const ConnectorMessage* message) {
    TRACE_SCOPE("COptimizerALComm::NpcCallback");
    const auto which = static_cast<profile>(NumberOf(message));
    vx::String config;
    const uint32_t error = m_engine->GetProfileConfig(&which, &config);
    // A failure is answered twice, by its code and by an empty config. Clients know both, so leave it so.
    if (error != ERROR_SUCCESS) {
        m_server.ReplyStatus(message, error);
        config.Assign(L"");
    }
    CByteStream answer;
    answer.WriteUint32(static_cast<uint32_t>(which));
    answer.WriteString(config.Text());
    m_server.Answer(message, answer.Data(), answer.SizeBytes());
}

void COptimizerALComm::_GetLastRun(const ConnectorMessage* message) {
    TRACE_SCOPE("COptimizerALComm::NpcCallback");
    vx::String report;
    void* const engine = m_engine->QueryInterface(&IRunReport::kIdentifier);
    const uint32_t error =
        engine != nullptr ? static_cast<IRunReport*>(engine)->GetLastRun(&report) : kErrorNoInterface;
    _AnswerText(message, error, report);
}

void COptimizerALComm::_GetNotes(const ConnectorMessage* message) {
    TRACE_SCOPE("COptimizerALComm::NpcCallback");
    vx::String report;
    void* const engine = m_engine->QueryInterface(&INotesReport::kIdentifier);
    const uint32_t error =
        engine != nullptr ? static_cast<INotesReport*>(engine)->GetNotes(&report) : kErrorNoInterface;
    _AnswerText(message, error, report);
}

void COptimizerALComm::_AnswerText(const ConnectorMessage* message, uint32_t error, const vx::String& text) {
    if (error != ERROR_SUCCESS) {
        m_server.ReplyStatus(message, error);
        return;
    }
    CByteStream answer;
    answer.WriteString(text.Text());
    m_server.Answer(message, answer.Data(), answer.SizeBytes());
}

void COptimizerALComm::_ModuleEnable(const ConnectorMessage* message) {
    TRACE_SCOPE("COptimizerALComm::NpcCallback");
    const uint32_t enable = NumberOf(message);
    TRACE_LINE(trace::kInformation, L"NpcMsgOptimizerModuleEnable %d", enable);
    m_server.ReplyStatus(message, m_engine->SetModuleEnable(enable != 0));
}

void COptimizerALComm::_ModuleGetEnable(const ConnectorMessage* message) {
    TRACE_SCOPE("COptimizerALComm::NpcCallback");
    TRACE_LINE(trace::kInformation, L"NpcMsgOptimizerModuleGetEnable");
    bool enabled = false;
    const uint32_t error = m_engine->GetModuleEnable(&enabled);
    if (error == ERROR_SUCCESS) {
        const uint32_t number = enabled ? 1 : 0;
        m_server.Answer(message, &number, sizeof number);
    } else {
        // The code itself, unlike the request for the profile; on purpose.
        m_server.ReplyStatus(message, error);
    }
}

void COptimizerALComm::_StartTask(const ConnectorMessage* message) {
    TRACE_SCOPE("COptimizerALComm::NpcCallback");
    const auto task = static_cast<int32_t>(NumberOf(message));
    TRACE_LINE(trace::kInformation, L"NpcMsgOptimizerStartTask %d", task);
    m_server.AnswerStatus(message, m_engine->StartTask(&task),
                          static_cast<uint32_t>(NpcMsg::OptimizerStartTaskAnswer));
}

void COptimizerALComm::_CancelTask(const ConnectorMessage* message) {
    TRACE_SCOPE("COptimizerALComm::NpcCallback");
    const auto task = static_cast<int32_t>(NumberOf(message));
    TRACE_LINE(trace::kInformation, L"NpcMsgOptimizerCancelTask %d", task);
    m_engine->CancelTask(&task);
    m_server.AnswerStatus(message, ERROR_SUCCESS, static_cast<uint32_t>(NpcMsg::OptimizerCancelTaskAnswer));
}

template <class... Numbers>
void COptimizerALComm::_Broadcast(NpcMsg id, const wchar_t* text, Numbers... numbers) {
    CByteStream payload;
    payload.WriteString(text);
    (payload.WriteUint32(static_cast<uint32_t>(numbers)), ...);
    m_server.Broadcast(static_cast<uint32_t>(id), payload.Data(), payload.SizeBytes());
}

void COptimizerALComm::OnTaskFinished(const wchar_t* user, const uint32_t* task, uint32_t status) {
    _Broadcast(NpcMsg::OnTaskFinished, user, *task, status);
}

void COptimizerALComm::OnProfileChanged(const wchar_t* user, const profile* changed) {
    _Broadcast(NpcMsg::OnProfileChanged, user, *changed);
}

void COptimizerALComm::OnActionsExecuted(const wchar_t* user, const profile* executed) {
    _Broadcast(NpcMsg::OnActionsExecuted, user, *executed);
}

void COptimizerALComm::OnProfileConfigChanged(const wchar_t* user, const profile* changed) {
    _Broadcast(NpcMsg::OnProfileConfigChanged, user, *changed);
}

void COptimizerALComm::OnOptimizerModuleEnableChanged(const wchar_t* user, bool enabled) {
    _Broadcast(NpcMsg::OnOptimizerModuleEnableChanged, user, enabled ? 1u : 0u);
}

void COptimizerALComm::OnOptimizerProcessOptimized(const wchar_t* process, uint32_t count) {
    _Broadcast(NpcMsg::OnOptimizerProcessOptimized, process, count);
}

}  // namespace optimizer
