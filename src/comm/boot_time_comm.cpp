#include "comm/boot_time_comm.h"

#include <windows.h>

#include "comm/boot_time_records.h"
#include "frame/guarded.h"
#include "frame/object_factory.h"
#include "frame/trace.h"
#include "frame/vx_list.h"

namespace boottime {

namespace trace = optimizer::trace;

using optimizer::CByteStream;

namespace {

constexpr const wchar_t* kBootTime = L"boottime";

}  // namespace

const CBootTimeComm::Request CBootTimeComm::kRequests[] = {
    {NpcMsg::GetBootTime, NpcMsg::GetBootTimeError, L"NpcMsgBootTimeGetBootTime", L"GetBootTime err=%d",
     &CBootTimeComm::_GetBootTime},
    {NpcMsg::GetTotalBootImpact, NpcMsg::GetTotalBootImpactError, L"NpcMsgBootTimeGetTotalBootImpact",
     L"GetTotalBootImpact err=%d", &CBootTimeComm::_GetTotalBootImpact},
    {NpcMsg::GetBootImpact, NpcMsg::GetBootImpactError, L"NpcMsgBootTimeGetBootImpact",
     L"GetBootImpact err=%d", &CBootTimeComm::_GetBootImpact},
    {NpcMsg::GetDiskSpeed, NpcMsg::GetDiskSpeedError, L"NpcMsgBootTimeGetDiskSpeed", L"GetDiskSpeed err=%d",
     &CBootTimeComm::_GetDiskSpeed},
};

void* CBootTimeComm::QueryInterface(const Identifier* iid) {
    return optimizer::AnswerFor<IBootTimeComm>(this, iid);
}

uint32_t CBootTimeComm::Init(IServMain* main) {
    TRACE_SCOPE("CBootTimeComm::Init");
    return optimizer::Guarded([&] {
        void* plugin = nullptr;
        const uint32_t error = m_server.Init(main, kBootTime, IBootTime::kIdentifier, &plugin);
        m_bootTime = static_cast<IBootTime*>(plugin);
        if (error != ERROR_SUCCESS) UnInit();
        return error;
    });
}

void CBootTimeComm::UnInit() {
    TRACE_SCOPE("CBootTimeComm::UnInit");
    m_bootTime = nullptr;
    m_server.UnInit();
}

uint32_t CBootTimeComm::Start() {
    TRACE_SCOPE("CBootTimeComm::Start");
    const uint32_t error = m_server.Start(kBootTimePipe, &_Receive, this);
    if (error == ERROR_SUCCESS) m_bootTime->AddEventsObserver(this);
    return error;
}

uint32_t CBootTimeComm::Stop() {
    TRACE_SCOPE("CBootTimeComm::Stop");
    // In this order nothing uses the end any more when it goes: first the event, then the requests.
    if (m_bootTime != nullptr) m_bootTime->RemoveEventsObserver(this);
    m_server.Stop();
    return ERROR_SUCCESS;
}

void CBootTimeComm::OnDataAnalysed(uint32_t status) {
    TRACE_SCOPE("CBootTimeComm::OnDataAnalysed");
    m_server.Broadcast(static_cast<uint32_t>(NpcMsg::OnDataAnalysed), &status, sizeof status);
}

uint32_t CBootTimeComm::_Receive(void* context, const ConnectorMessage* message) noexcept {
    if (context == nullptr) return ERROR_GEN_FAILURE;
    return optimizer::Guarded([&] { return static_cast<CBootTimeComm*>(context)->NpcCallback(message); });
}

uint32_t CBootTimeComm::NpcCallback(const ConnectorMessage* message) {
    if (message == nullptr) return ERROR_GEN_FAILURE;
    for (const Request& request : kRequests) {
        if (static_cast<uint32_t>(request.id) != message->id) continue;
        _Answer(message, request);
        return ERROR_SUCCESS;
    }
    // No answer: the sender waits until its time is over.
    return ERROR_GEN_FAILURE;
}

void CBootTimeComm::_Answer(const ConnectorMessage* message, const Request& request) {
    TRACE_MARKED_SCOPE("CBootTimeComm::NpcCallback", request.name);
    CByteStream answer;
    // Short memory is an error like any other to those who wait.
    const uint32_t error = optimizer::Guarded([&] { return (this->*request.ask)(message, answer); });
    const auto errorId = static_cast<uint32_t>(request.errorId);
    if (error != ERROR_SUCCESS) {
        TRACE_LINE(trace::kError, request.failed, error);
        m_server.AnswerStatus(message, error, errorId);
        return;
    }
    const bool answered = m_server.Answer(message, answer.Data(), answer.SizeBytes());
    // An error to those who don't wait too. A post that fails is followed by nothing.
    if (!answered && !SenderWaits(message)) m_server.AnswerStatus(message, ERROR_GEN_FAILURE, errorId);
}

uint32_t CBootTimeComm::_GetBootTime(const ConnectorMessage*, CByteStream& answer) {
    uint32_t timeMs = 0;
    const uint32_t error = m_bootTime->GetBootTime(&timeMs);
    answer.WriteUint32(timeMs);
    return error;
}

uint32_t CBootTimeComm::_GetTotalBootImpact(const ConnectorMessage*, CByteStream& answer) {
    ProcessCounters total = {};
    const uint32_t error = m_bootTime->GetTotalBootImpact(&total);
    Write(answer, total);
    return error;
}

uint32_t CBootTimeComm::_GetBootImpact(const ConnectorMessage* message, CByteStream& answer) {
    TRACE_SCOPE("CBootTimeComm::_GetBootImpact");
    CByteStream payload(PayloadOf(message), message->sizeBytes);
    ProcessImpact filter = {};
    ReadFilter(payload, filter);
    vx::List<ProcessImpact> list;
    const uint32_t error = m_bootTime->GetBootImpact(&list, &filter);
    TRACE_LINE(trace::kInformation, L"err=0x%x process=[%s]", error, TextOf(list).c_str());
    return error != ERROR_SUCCESS || Write(answer, list) ? error : uint32_t{ERROR_OUTOFMEMORY};
}

uint32_t CBootTimeComm::_GetDiskSpeed(const ConnectorMessage*, CByteStream& answer) {
    DiskSpeed speed = {};
    const uint32_t error = m_bootTime->GetDiskSpeed(&speed);
    Write(answer, speed);
    return error;
}

}  // namespace boottime
