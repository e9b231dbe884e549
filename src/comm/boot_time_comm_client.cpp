#include "comm/boot_time_comm_client.h"

#include <windows.h>

#include "comm/boot_time_records.h"
#include "frame/guarded.h"

namespace boottime {

namespace trace = optimizer::trace;

using optimizer::CByteStream;
using optimizer::Guarded;

/// A request's number on the wire and its three traces.
struct CBootTimeCommClient::Request {
    NpcMsg id;
    const wchar_t* sendFailed;
    const wchar_t* refused;
    const wchar_t* postFailed;

    static const Request kBootTime, kTotalBootImpact, kTotalBootImpactAsync, kBootImpact, kDiskSpeed;
};

const CBootTimeCommClient::Request CBootTimeCommClient::Request::kBootTime = {
    NpcMsg::GetBootTime, L"sendMessage NpcMsgBootTimeGetBootTime failed 0x%x",
    L"sendMessage NpcMsgBootTimeGetBootTime returns 0x%x",
    L"postMessage NpcMsgBootTimeGetBootTime failed 0x%x"};
// Clients in the field are used to the answer of this request, the boot time, so it isn't the number that
// asks for the counters. Only the request that doesn't wait asks for them.
const CBootTimeCommClient::Request CBootTimeCommClient::Request::kTotalBootImpact = {
    NpcMsg::GetBootTime, L"sendMessage NpcMsgBootTimeGetTotalBootImpact failed 0x%x",
    L"sendMessage NpcMsgBootTimeGetTotalBootImpact returns 0x%x", nullptr};
const CBootTimeCommClient::Request CBootTimeCommClient::Request::kTotalBootImpactAsync = {
    NpcMsg::GetTotalBootImpact, nullptr, nullptr,
    L"postMessage NpcMsgBootTimeGetTotalBootImpact failed 0x%x"};
const CBootTimeCommClient::Request CBootTimeCommClient::Request::kBootImpact = {
    NpcMsg::GetBootImpact, L"sendMessage NpcMsgBootTimeGetBootImpact failed 0x%x",
    L"sendMessage NpcMsgBootTimeGetBootImpact returns 0x%x",
    L"postMessage NpcMsgBootTimeGetBootImpact failed 0x%x"};
const CBootTimeCommClient::Request CBootTimeCommClient::Request::kDiskSpeed = {
    NpcMsg::GetDiskSpeed, L"sendMessage NpcMsgBootTimeGetDiskSpeed failed 0x%x",
    L"sendMessage NpcMsgBootTimeGetDiskSpeed returns 0x%x",
    L"postMessage NpcMsgBootTimeGetDiskSpeed failed 0x%x"};

void* CBootTimeCommClient::QueryInterface(const Identifier* iid) {
    if (iid == nullptr) return nullptr;
    if (*iid == IVxBaseInterface::kIdentifier || *iid == IServPlugin::kIdentifier ||
        *iid == IBootTime::kIdentifier || *iid == IBootTimeCommClient::kIdentifier) {
        return static_cast<IBootTimeCommClient*>(this);
    }
    if (*iid == IBootTimeCommClientAsync::kIdentifier) return static_cast<IBootTimeCommClientAsync*>(this);
    return nullptr;
}

uint32_t CBootTimeCommClient::Init(IServMain*) {
    TRACE_SCOPE("CBootTimeCommClient::Init");
    return Guarded([&] { return m_connection.Init(); });
}

void CBootTimeCommClient::UnInit() {
    TRACE_SCOPE("CBootTimeCommClient::UnInit");
    m_connection.UnInit([this] { m_observers.Release(); });
}

uint32_t CBootTimeCommClient::Start() {
    TRACE_SCOPE("CBootTimeCommClient::Start");
    return Guarded([&] { return m_connection.Start(&_Receive, this); });
}

uint32_t CBootTimeCommClient::Stop() {
    TRACE_SCOPE("CBootTimeCommClient::Stop");
    m_connection.Stop();
    return ERROR_SUCCESS;
}

template <class Read>
uint32_t CBootTimeCommClient::_Ask(const trace::LogScope& traceScope, const Request& request,
                                   const void* data, uint32_t sizeBytes, Read read) {
    return Guarded([&] {
        CByteStream answer;
        const auto [code, status] =
            m_connection.Ask(static_cast<uint32_t>(request.id), data, sizeBytes, answer);
        if (code != ERROR_SUCCESS) {
            TRACE_LINE(trace::kError, request.sendFailed, code);
            // The code is dropped: to clients of this pipe a broken connection is a boot without results.
            return kNoResults;
        }
        if (status != ERROR_SUCCESS) {
            TRACE_LINE(trace::kError, request.refused, status);
            return status;
        }
        return read(answer);
    });
}

uint32_t CBootTimeCommClient::_Post(const trace::LogScope& traceScope, const Request& request,
                                    const void* data, uint32_t sizeBytes) {
    const uint32_t code = m_connection.Post(static_cast<uint32_t>(request.id), data, sizeBytes);
    if (code != ERROR_SUCCESS) TRACE_LINE(trace::kError, request.postFailed, code);
    return code;
}

uint32_t CBootTimeCommClient::GetBootTime(uint32_t* timeMs) {
    TRACE_SCOPE("CBootTimeCommClient::GetBootTime");
    return _Ask(traceScope, Request::kBootTime, nullptr, 0, [&](CByteStream& answer) {
        *timeMs = answer.ReadUint32();
        TRACE_LINE(trace::kInformation, L"time=%d", *timeMs);
        return uint32_t{ERROR_SUCCESS};
    });
}

uint32_t CBootTimeCommClient::GetTotalBootImpact(ProcessCounters* total) {
    TRACE_SCOPE("CBootTimeCommClient::GetTotalBootImpact");
    return _Ask(traceScope, Request::kTotalBootImpact, nullptr, 0, [&](CByteStream& answer) {
        Read(answer, *total);
        TRACE_LINE(trace::kInformation, L"process=[%s]", TextOf(*total).c_str());
        return uint32_t{ERROR_SUCCESS};
    });
}

uint32_t CBootTimeCommClient::GetBootImpact(vx::IList<ProcessImpact>* list, ProcessImpact* filter) {
    TRACE_SCOPE("CBootTimeCommClient::GetBootImpact");
    if (list == nullptr) return ERROR_FILE_NOT_FOUND;  // as the engine's own answers
    return Guarded([&]() -> uint32_t {
        CByteStream payload;
        WriteFilter(payload, filter != nullptr ? *filter : ProcessImpact{});
        return _Ask(traceScope, Request::kBootImpact, payload.Data(), payload.SizeBytes(),
                    [&](CByteStream& answer) {
                        const uint32_t error = Read(answer, *list);
                        TRACE_LINE(trace::kInformation, L"process=[%s]", TextOf(*list).c_str());
                        return error;
                    });
    });
}

uint32_t CBootTimeCommClient::GetDiskSpeed(DiskSpeed* speed) {
    TRACE_SCOPE("CBootTimeCommClient::GetDiskSpeed");
    return _Ask(traceScope, Request::kDiskSpeed, nullptr, 0, [&](CByteStream& answer) {
        Read(answer, *speed);
        TRACE_LINE(trace::kInformation, L"diskSpeed=[%s]", TextOf(*speed).c_str());
        return uint32_t{ERROR_SUCCESS};
    });
}

uint32_t CBootTimeCommClient::GetBootTimeAsync() {
    TRACE_SCOPE("CBootTimeCommClient::GetBootTimeAsync");
    return _Post(traceScope, Request::kBootTime, nullptr, 0);
}

uint32_t CBootTimeCommClient::GetTotalBootImpactAsync() {
    TRACE_SCOPE("CBootTimeCommClient::GetTotalBootImpactAsync");
    return _Post(traceScope, Request::kTotalBootImpactAsync, nullptr, 0);
}

uint32_t CBootTimeCommClient::GetBootImpactAsync(ProcessImpact* filter) {
    TRACE_SCOPE("CBootTimeCommClient::GetBootImpactAsync");
    return Guarded([&] {
        CByteStream payload;
        WriteFilter(payload, filter != nullptr ? *filter : ProcessImpact{});
        return _Post(traceScope, Request::kBootImpact, payload.Data(), payload.SizeBytes());
    });
}

uint32_t CBootTimeCommClient::GetDiskSpeedAsync() {
    TRACE_SCOPE("CBootTimeCommClient::GetDiskSpeedAsync");
    return _Post(traceScope, Request::kDiskSpeed, nullptr, 0);
}

}  // namespace boottime
