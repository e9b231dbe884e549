#include "comm/optimizer_comm_client.h"

#include <windows.h>

#include "comm/byte_stream.h"
#include "frame/guarded.h"
#include "frame/trace.h"
#include "frame/vx_string.h"

namespace optimizer {

namespace {

void WriteConfig(CByteStream& payload, const profiles::profile* which, const vx::String* config) {
    payload.WriteUint32(static_cast<uint32_t>(*which));
    payload.WriteString(config != nullptr ? config->Pointer() : nullptr);
}

}  // namespace

/// A request's number on the wire and its two traces.
struct COptimizerCommClient::Request {
    NpcMsg id;
    const wchar_t* sendFailed;
    const wchar_t* postFailed;

    static const Request kStartTask, kCancelTask, kSetProfile, kGetProfile, kSetProfileConfig,
        kGetProfileConfig, kSetModuleEnable, kGetModuleEnable, kGetLastRun, kGetNotes;
};

const COptimizerCommClient::Request COptimizerCommClient::Request::kStartTask = {
    NpcMsg::OptimizerStartTask, L"sendMessage NpcMsgOptimizerStartTask failed 0x%x",
    L"postMessage NpcMsgOptimizerStartTask failed 0x%x"};
// "senMessage" is what this trace has always said; tools look for it.
const COptimizerCommClient::Request COptimizerCommClient::Request::kCancelTask = {
    NpcMsg::OptimizerCancelTask, L"senMessage NpcMsgOptimizerCancelTask failed 0x%x",
    L"postMessage NpcMsgOptimizerCancelTask failed 0x%x"};
const COptimizerCommClient::Request COptimizerCommClient::Request::kSetProfile = {
    NpcMsg::OptimizerSetProfile, L"sendMessage NpcMsgOptimizerSetProfile failed 0x%x",
    L"postMessage NpcMsgOptimizerSetProfile failed 0x%x"};
const COptimizerCommClient::Request COptimizerCommClient::Request::kGetProfile = {
    NpcMsg::OptimizerGetProfile, L"sendMessage NpcMsgOptimizerGetProfile failed 0x%x",
    L"postMessage NpcMsgOptimizerGetProfile failed 0x%x"};
const COptimizerCommClient::Request COptimizerCommClient::Request::kSetProfileConfig = {
    NpcMsg::OptimizerSetProfileConfig, L"sendMessage NpcMsgOptimizerSetProfileConfig failed 0x%x",
    L"postMessage NpcMsgOptimizerSetProfileConfig failed 0x%x"};
const COptimizerCommClient::Request COptimizerCommClient::Request::kGetProfileConfig = {
    NpcMsg::OptimizerGetProfileConfig, L"sendMessage NpcMsgOptimizerGetProfileConfig failed 0x%x",
    L"postMessage NpcMsgOptimizerGetProfileConfig failed 0x%x"};
const COptimizerCommClient::Request COptimizerCommClient::Request::kSetModuleEnable = {
    NpcMsg::OptimizerModuleEnable, L"sendMessage NpcMsgOptimizerModuleEnable failed 0x%x",
    L"postMessage NpcMsgOptimizerModuleEnable failed 0x%x"};
const COptimizerCommClient::Request COptimizerCommClient::Request::kGetModuleEnable = {
    NpcMsg::OptimizerModuleGetEnable, L"sendMessage NpcMsgOptimizerModuleGetEnable failed 0x%x",
    L"postMessage NpcMsgOptimizerModuleGetEnable failed 0x%x"};

const COptimizerCommClient::Request COptimizerCommClient::Request::kGetLastRun = {
    NpcMsg::OptimizerGetLastRun, L"sendMessage NpcMsgOptimizerGetLastRun failed 0x%x",
    L"postMessage NpcMsgOptimizerGetLastRun failed 0x%x"};

const COptimizerCommClient::Request COptimizerCommClient::Request::kGetNotes = {
    NpcMsg::OptimizerGetNotes, L"sendMessage NpcMsgOptimizerGetNotes failed 0x%x",
    L"postMessage NpcMsgOptimizerGetNotes failed 0x%x"};

void* COptimizerCommClient::QueryInterface(const Identifier* iid) {
    if (iid == nullptr) return nullptr;
    if (*iid == IVxBaseInterface::kIdentifier || *iid == IServPlugin::kIdentifier ||
        *iid == IOptimizer::kIdentifier || *iid == IOptimizerALCommClient::kIdentifier) {
        return static_cast<IOptimizerALCommClient*>(this);
    }
    if (*iid == IOptimizerALCommClientAsync::kIdentifier)
        return static_cast<IOptimizerALCommClientAsync*>(this);
    if (*iid == INotesReport::kIdentifier) return static_cast<INotesReport*>(this);
    return *iid == IRunReport::kIdentifier ? static_cast<IRunReport*>(this) : nullptr;
}

uint32_t COptimizerCommClient::Init(IServMain*) {
    TRACE_SCOPE("COptimizerCommClient::Init");
    return Guarded([&] { return m_connection.Init(); });
}

void COptimizerCommClient::UnInit() {
    TRACE_SCOPE("COptimizerCommClient::UnInit");
    m_connection.UnInit([this] { m_observers.Release(); });
}

uint32_t COptimizerCommClient::Start() {
    TRACE_SCOPE("COptimizerCommClient::Start");
    return Guarded([&] { return m_connection.Start(&_Receive, this); });
}

uint32_t COptimizerCommClient::Stop() {
    TRACE_SCOPE("COptimizerCommClient::Stop");
    m_connection.Stop();
    return ERROR_SUCCESS;
}

template <class Read>
uint32_t COptimizerCommClient::_Ask(const trace::LogScope& traceScope, const Request& request,
                                    const void* data, uint32_t sizeBytes, Read read) {
    return Guarded([&] {
        CByteStream answer;
        const auto [code, status] =
            m_connection.Ask(static_cast<uint32_t>(request.id), data, sizeBytes, answer);
        if (code != ERROR_SUCCESS) return code;
        if (status != ERROR_SUCCESS) {
            TRACE_LINE(trace::kError, request.sendFailed, status);
            return status;
        }
        return read(answer);
    });
}

uint32_t COptimizerCommClient::_Post(const trace::LogScope& traceScope, const Request& request,
                                     const void* data, uint32_t sizeBytes) {
    const uint32_t code = m_connection.Post(static_cast<uint32_t>(request.id), data, sizeBytes);
    if (code != ERROR_SUCCESS) TRACE_LINE(trace::kError, request.postFailed, code);
    return code;
}

uint32_t COptimizerCommClient::StartTask(const int32_t* task) {
    TRACE_SCOPE("COptimizerCommClient::StartTask");
    return _Ask(traceScope, Request::kStartTask, task, sizeof *task,
                [](CByteStream& answer) { return answer.ReadUint32(); });
}

void COptimizerCommClient::CancelTask(const int32_t* task) {
    TRACE_SCOPE("COptimizerCommClient::CancelTask");
    _Ask(traceScope, Request::kCancelTask, task, sizeof *task,
         [](CByteStream&) { return uint32_t{ERROR_SUCCESS}; });
}

uint32_t COptimizerCommClient::SetProfile(const profile* wanted) {
    TRACE_SCOPE("COptimizerCommClient::SetProfile");
    return _Ask(traceScope, Request::kSetProfile, wanted, sizeof *wanted,
                [](CByteStream& answer) { return answer.ReadUint32(); });
}

uint32_t COptimizerCommClient::GetProfile(profile* active) {
    TRACE_SCOPE("COptimizerCommClient::GetProfile");
    return _Ask(traceScope, Request::kGetProfile, nullptr, 0, [&](CByteStream& answer) {
        *active = static_cast<profile>(answer.ReadUint32());
        return uint32_t{ERROR_SUCCESS};
    });
}

uint32_t COptimizerCommClient::SetProfileConfig(const profile* which, vx::String* config) {
    TRACE_SCOPE("COptimizerCommClient::SetProfileConfig");
    return Guarded([&] {
        CByteStream payload;
        WriteConfig(payload, which, config);
        return _Ask(traceScope, Request::kSetProfileConfig, payload.Data(), payload.SizeBytes(),
                    [](CByteStream&) { return uint32_t{ERROR_SUCCESS}; });
    });
}

uint32_t COptimizerCommClient::GetProfileConfig(const profile* which, vx::String* config) {
    TRACE_SCOPE("COptimizerCommClient::GetProfileConfig");
    return _Ask(traceScope, Request::kGetProfileConfig, which, sizeof *which, [&](CByteStream& answer) {
        answer.ReadUint32();  // the profile, which the caller knows
        config->Assign(answer.ReadString().c_str());
        return uint32_t{ERROR_SUCCESS};
    });
}

uint32_t COptimizerCommClient::SetModuleEnable(bool enable) {
    TRACE_SCOPE("COptimizerCommClient::SetModuleEnable");
    const uint32_t number = enable ? 1 : 0;
    return _Ask(traceScope, Request::kSetModuleEnable, &number, sizeof number,
                [](CByteStream&) { return uint32_t{ERROR_SUCCESS}; });
}

uint32_t COptimizerCommClient::GetLastRun(vx::String* report) {
    TRACE_SCOPE("COptimizerCommClient::GetLastRun");
    return _Ask(traceScope, Request::kGetLastRun, nullptr, 0, [&](CByteStream& answer) {
        report->Assign(answer.ReadString().c_str());
        return uint32_t{ERROR_SUCCESS};
    });
}

uint32_t COptimizerCommClient::GetNotes(vx::String* report) {
    TRACE_SCOPE("COptimizerCommClient::GetNotes");
    return _Ask(traceScope, Request::kGetNotes, nullptr, 0, [&](CByteStream& answer) {
        report->Assign(answer.ReadString().c_str());
        return uint32_t{ERROR_SUCCESS};
    });
}

uint32_t COptimizerCommClient::GetModuleEnable(bool* enable) {
    TRACE_SCOPE("COptimizerCommClient::GetModuleEnable");
    return _Ask(traceScope, Request::kGetModuleEnable, nullptr, 0, [&](CByteStream& answer) {
        *enable = answer.ReadUint32() != 0;
        return uint32_t{ERROR_SUCCESS};
    });
}

uint32_t COptimizerCommClient::StartTaskAsync(const int32_t* task) {
    TRACE_SCOPE("COptimizerCommClient::StartTaskAsync");
    return _Post(traceScope, Request::kStartTask, task, sizeof *task);
}

uint32_t COptimizerCommClient::CancelTaskAsync(const int32_t* task) {
    TRACE_SCOPE("COptimizerCommClient::CancelTaskAsync");
    return _Post(traceScope, Request::kCancelTask, task, sizeof *task);
}

uint32_t COptimizerCommClient::SetProfileAsync(const profile* wanted) {
    TRACE_SCOPE("COptimizerCommClient::SetProfileAsync");
    return _Post(traceScope, Request::kSetProfile, wanted, sizeof *wanted);
}

uint32_t COptimizerCommClient::GetProfileAsync() {
    TRACE_SCOPE("COptimizerCommClient::GetProfileAsync");
    return _Post(traceScope, Request::kGetProfile, nullptr, 0);
}

uint32_t COptimizerCommClient::SetProfileConfigAsync(const profile* which, const vx::String* config) {
    TRACE_SCOPE("COptimizerCommClient::SetProfileConfigAsync");
    return Guarded([&] {
        CByteStream payload;
        WriteConfig(payload, which, config);
        return _Post(traceScope, Request::kSetProfileConfig, payload.Data(), payload.SizeBytes());
    });
}

uint32_t COptimizerCommClient::GetProfileConfigAsync(const profile* which) {
    TRACE_SCOPE("COptimizerCommClient::GetProfileConfigAsync");
    return _Post(traceScope, Request::kGetProfileConfig, which, sizeof *which);
}

uint32_t COptimizerCommClient::SetModuleEnableAsync(bool enable) {
    TRACE_SCOPE("COptimizerCommClient::SetModuleEnableAsync");
    const uint32_t number = enable ? 1 : 0;
    return _Post(traceScope, Request::kSetModuleEnable, &number, sizeof number);
}

uint32_t COptimizerCommClient::GetModuleEnableAsync() {
    TRACE_SCOPE("COptimizerCommClient::GetModuleEnableAsync");
    return _Post(traceScope, Request::kGetModuleEnable, nullptr, 0);
}

}  // namespace optimizer
