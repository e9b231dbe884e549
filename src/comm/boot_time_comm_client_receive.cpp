// The receiving half of the client: messages of the service become calls of the observers.
#include <windows.h>

#include "comm/boot_time_comm_client.h"
#include "comm/boot_time_records.h"
#include "frame/guarded.h"
#include "frame/vx_list.h"

namespace boottime {

namespace trace = optimizer::trace;

using optimizer::CByteStream;

/// One message that the client takes: what it answers, and whether it is that answer's error.
struct CBootTimeCommClient::Reception {
    NpcMsg id;
    NpcMsg answered;
    bool isError;
    bool isOneNumber;  // the payload must be exactly four bytes
    const wchar_t* name;
};

uint32_t CBootTimeCommClient::_Receive(void* context, const ConnectorMessage* message) noexcept {
    if (context == nullptr) return ERROR_GEN_FAILURE;
    return optimizer::Guarded(
        [&] { return static_cast<CBootTimeCommClient*>(context)->NpcCallback(message); });
}

uint32_t CBootTimeCommClient::NpcCallback(const ConnectorMessage* message) {
    static constexpr Reception kReceptions[] = {
        {NpcMsg::GetBootTime, NpcMsg::GetBootTime, false, true, L"NpcMsgBootTimeGetBootTime"},
        {NpcMsg::GetTotalBootImpact, NpcMsg::GetTotalBootImpact, false, false,
         L"NpcMsgBootTimeGetTotalBootImpact"},
        {NpcMsg::GetBootImpact, NpcMsg::GetBootImpact, false, false, L"NpcMsgBootTimeGetBootImpact"},
        {NpcMsg::GetDiskSpeed, NpcMsg::GetDiskSpeed, false, false, L"NpcMsgBootTimeGetDiskSpeed"},
        {NpcMsg::GetBootTimeError, NpcMsg::GetBootTime, true, true, L"NpcMsgBootTimeGetBootTimeError"},
        {NpcMsg::GetTotalBootImpactError, NpcMsg::GetTotalBootImpact, true, true,
         L"NpcMsgBootTimeGetTotalBootImpactError"},
        {NpcMsg::GetBootImpactError, NpcMsg::GetBootImpact, true, true, L"NpcMsgBootTimeGetBootImpactError"},
        {NpcMsg::GetDiskSpeedError, NpcMsg::GetDiskSpeed, true, true, L"NpcMsgBootTimeGetDiskSpeedError"},
        {NpcMsg::OnDataAnalysed, NpcMsg::OnDataAnalysed, false, true, L"NpcMsgBootTimeOnDataAnalysed"},
    };
    if (message == nullptr) return ERROR_GEN_FAILURE;
    for (const Reception& reception : kReceptions) {
        if (static_cast<uint32_t>(reception.id) != message->id) continue;
        TRACE_MARKED_SCOPE("CBootTimeCommClient::NpcCallback", reception.name);
        if (reception.isOneNumber && message->sizeBytes != sizeof(uint32_t)) {
            TRACE_LINE(trace::kError, L"ERROR_GEN_FAILURE");
            return ERROR_GEN_FAILURE;
        }
        CByteStream payload(PayloadOf(message), message->sizeBytes);
        // An error's payload is the error, and nothing is left behind it: the figures read as zeros.
        const uint32_t error = reception.isError ? payload.ReadUint32() : message->status;
        _Deliver(reception.answered, error, payload);
        m_connection.ReplyStatus(message, ERROR_SUCCESS);
        return ERROR_SUCCESS;
    }
    m_connection.ReplyStatus(message, ERROR_GEN_FAILURE);
    return ERROR_SUCCESS;
}

void CBootTimeCommClient::_Deliver(NpcMsg answered, uint32_t error, CByteStream& payload) {
    switch (answered) {
        case NpcMsg::GetBootTime:
            return OnGetBootTime(&error, payload.ReadUint32());
        case NpcMsg::GetTotalBootImpact: {
            ProcessCounters total = {};
            Read(payload, total);
            return OnGetTotalBootImpact(&error, &total);
        }
        case NpcMsg::GetBootImpact: {
            vx::List<ProcessImpact> list;
            // A list that the memory is too short for is an error to the observers too.
            if (const uint32_t readError = Read(payload, list); error == ERROR_SUCCESS) error = readError;
            return OnGetBootImpact(&error, &list);
        }
        case NpcMsg::GetDiskSpeed: {
            DiskSpeed speed = {};
            Read(payload, speed);
            return OnGetDiskSpeed(&error, &speed);
        }
        default:
            return OnDataAnalysed(payload.ReadUint32());
    }
}

void CBootTimeCommClient::OnDataAnalysed(uint32_t status) {
    TRACE_SCOPE("CBootTimeCommClient::OnDataAnalysed");
    m_observers.NotifyEvents([&](IBootTimeEvents* observer) { observer->OnDataAnalysed(status); });
}

void CBootTimeCommClient::OnGetBootTime(const uint32_t* error, uint32_t timeMs) {
    TRACE_SCOPE("CBootTimeCommClient::OnGetBootTime");
    TRACE_LINE(trace::kInformation, L"err=0x%x time=%d", *error, timeMs);
    m_observers.NotifyResponses([&](IBootTimeResponse* observer) { observer->OnGetBootTime(error, timeMs); });
}

void CBootTimeCommClient::OnGetTotalBootImpact(const uint32_t* error, const ProcessCounters* total) {
    TRACE_SCOPE("CBootTimeCommClient::OnGetTotalBootImpact");
    TRACE_LINE(trace::kInformation, L"err=0x%x process=[%s]", *error, TextOf(*total).c_str());
    m_observers.NotifyResponses(
        [&](IBootTimeResponse* observer) { observer->OnGetTotalBootImpact(error, total); });
}

void CBootTimeCommClient::OnGetBootImpact(const uint32_t* error, vx::IList<ProcessImpact>* list) {
    TRACE_SCOPE("CBootTimeCommClient::OnGetBootImpact");
    TRACE_LINE(trace::kInformation, L"err=0x%x process=[%s]", *error, TextOf(*list).c_str());
    m_observers.NotifyResponses([&](IBootTimeResponse* observer) { observer->OnGetBootImpact(error, list); });
}

void CBootTimeCommClient::OnGetDiskSpeed(const uint32_t* error, const DiskSpeed* speed) {
    TRACE_SCOPE("CBootTimeCommClient::OnGetDiskSpeed");
    TRACE_LINE(trace::kInformation, L"err=0x%x diskSpeed=[%s]", *error, TextOf(*speed).c_str());
    m_observers.NotifyResponses([&](IBootTimeResponse* observer) { observer->OnGetDiskSpeed(error, speed); });
}

uint32_t CBootTimeCommClient::AddEventsObserver(IBootTimeEvents* observer) {
    return m_observers.AddEvents(observer);
}

uint32_t CBootTimeCommClient::RemoveEventsObserver(IBootTimeEvents* observer) {
    return m_observers.RemoveEvents(observer);
}

uint32_t CBootTimeCommClient::AddResponseObserver(IBootTimeResponse* observer) {
    return m_observers.AddResponses(observer);
}

uint32_t CBootTimeCommClient::RemoveResponseObserver(IBootTimeResponse* observer) {
    return m_observers.RemoveResponses(observer);
}

}  // namespace boottime
