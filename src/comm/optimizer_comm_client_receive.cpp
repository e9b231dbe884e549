// The receiving half of the client: messages of the service become calls of the observers.
#include <cwchar>

#include <windows.h>

#include "comm/byte_stream.h"
#include "comm/optimizer_comm_client.h"
#include "frame/guarded.h"
#include "frame/trace.h"
#include "frame/users_library.h"

namespace optimizer {

namespace {

/// Whether an event may pass. Events of the client's own user are dropped: clients know what they did
/// themselves, and count on not hearing of it. Leave the sense of the test as it is.
bool IsForObservers(const wchar_t* user) {
    TRACE_SCOPE("COptimizerCommClient::GetCurrentUser");
    std::wstring own;
    if (!GetCurrentUserName(own)) {
        TRACE_LINE(trace::kInformation, L"SrvGetCurrentUserName failed");
        return true;
    }
    return own.empty() || _wcsicmp(own.c_str(), user) != 0;
}

}  // namespace

uint32_t COptimizerCommClient::_Receive(void* context, const ConnectorMessage* message) noexcept {
    if (context == nullptr || message == nullptr) return ERROR_GEN_FAILURE;
    return Guarded([&] { return static_cast<COptimizerCommClient*>(context)->NpcCallback(message); });
}

uint32_t COptimizerCommClient::NpcCallback(const ConnectorMessage* message) {
    CByteStream payload(PayloadOf(message), message->sizeBytes);
    const bool isOneNumber = message->sizeBytes == sizeof(uint32_t);
    switch (static_cast<NpcMsg>(message->id)) {
        // The answers are never answered in turn.
        case NpcMsg::OptimizerGetProfile:
            if (!isOneNumber) return ERROR_GEN_FAILURE;
            _OnGetProfile(static_cast<profile>(payload.ReadUint32()));
            return ERROR_SUCCESS;
        case NpcMsg::OptimizerGetProfileConfig: {
            const auto which = static_cast<profile>(payload.ReadUint32());
            _OnGetProfileConfig(which, payload.ReadString().c_str());
            return ERROR_SUCCESS;
        }
        case NpcMsg::OptimizerModuleGetEnable:
            if (!isOneNumber) return ERROR_GEN_FAILURE;
            _OnGetModuleEnable(payload.ReadUint32() != 0);
            return ERROR_SUCCESS;
        case NpcMsg::OptimizerStartTaskAnswer:
        case NpcMsg::OptimizerCancelTaskAnswer:
            if (!isOneNumber) return ERROR_GEN_FAILURE;
            m_connection.ReplyStatus(message, ERROR_SUCCESS);
            return ERROR_SUCCESS;
        default:
            m_connection.ReplyStatus(message,
                                     _DeliverEvent(message->id, payload) ? ERROR_SUCCESS : ERROR_GEN_FAILURE);
            return ERROR_SUCCESS;
    }
}

/// False when it isn't one.
bool COptimizerCommClient::_DeliverEvent(uint32_t id, CByteStream& payload) {
    const std::wstring text = payload.ReadString();
    const uint32_t number = payload.ReadUint32();
    switch (static_cast<NpcMsg>(id)) {
        case NpcMsg::OnProfileChanged:
            _OnProfileChanged(text.c_str(), static_cast<profile>(number));
            return true;
        case NpcMsg::OnActionsExecuted:
            _OnActionsExecuted(text.c_str(), static_cast<profile>(number));
            return true;
        case NpcMsg::OnProfileConfigChanged:
            _OnProfileConfigChanged(text.c_str(), static_cast<profile>(number));
            return true;
        case NpcMsg::OnOptimizerModuleEnableChanged:
            _OnOptimizerModuleEnableChanged(text.c_str(), number != 0);
            return true;
        case NpcMsg::OnOptimizerProcessOptimized:
            _OnOptimizerProcessOptimized(text.c_str(), number);
            return true;
        case NpcMsg::OnTaskFinished:
            _OnTaskFinished(text.c_str(), number, payload.ReadUint32());
            return true;
        default:
            return false;
    }
}

void COptimizerCommClient::_OnGetProfile(profile active) {
    TRACE_SCOPE("COptimizerCommClient::OnGetProfile");
    TRACE_LINE(trace::kInformation, L"profile=%d", active);
    m_observers.NotifyResponses([&](IOptimizerResponse* observer) { observer->OnGetProfile(&active); });
}

void COptimizerCommClient::_OnGetProfileConfig(profile which, const wchar_t* config) {
    TRACE_SCOPE("COptimizerCommClient::OnGetProfileConfig");
    TRACE_LINE(trace::kInformation, L"profile=%d setts=%s", which, config);
    m_observers.NotifyResponses(
        [&](IOptimizerResponse* observer) { observer->OnGetProfileConfig(&which, config); });
}

void COptimizerCommClient::_OnGetModuleEnable(bool enabled) {
    TRACE_SCOPE("COptimizerCommClient::OnGetModuleEnable");
    TRACE_LINE(trace::kInformation, L"enabled=%s", enabled ? L"true" : L"false");
    m_observers.NotifyResponses([&](IOptimizerResponse* observer) { observer->OnGetModuleEnable(enabled); });
}

void COptimizerCommClient::_OnTaskFinished(const wchar_t* user, uint32_t task, uint32_t status) {
    TRACE_SCOPE("COptimizerCommClient::OnTaskFinished");
    TRACE_LINE(trace::kInformation, L"user=%s task=%d status=%d", user, task, status);
    if (!IsForObservers(user)) return;
    m_observers.NotifyEvents(
        [&](IOptimizerEvents* observer) { observer->OnTaskFinished(user, &task, status); });
}

void COptimizerCommClient::_OnProfileChanged(const wchar_t* user, profile which) {
    TRACE_SCOPE("COptimizerCommClient::OnProfileChanged");
    TRACE_LINE(trace::kInformation, L"user=%s profile=%d", user, which);
    if (!IsForObservers(user)) return;
    m_observers.NotifyEvents([&](IOptimizerEvents* observer) { observer->OnProfileChanged(user, &which); });
}

void COptimizerCommClient::_OnActionsExecuted(const wchar_t* user, profile which) {
    TRACE_SCOPE("COptimizerCommClient::OnActionsExecuted");
    TRACE_LINE(trace::kInformation, L"user=%s profile=%d", user, which);
    if (!IsForObservers(user)) return;
    m_observers.NotifyEvents([&](IOptimizerEvents* observer) { observer->OnActionsExecuted(user, &which); });
}

void COptimizerCommClient::_OnProfileConfigChanged(const wchar_t* user, profile which) {
    TRACE_SCOPE("COptimizerCommClient::OnProfileConfigChanged");
    TRACE_LINE(trace::kInformation, L"user=%s profile=%d", user, which);
    if (!IsForObservers(user)) return;
    m_observers.NotifyEvents(
        [&](IOptimizerEvents* observer) { observer->OnProfileConfigChanged(user, &which); });
}

void COptimizerCommClient::_OnOptimizerModuleEnableChanged(const wchar_t* user, bool enabled) {
    TRACE_SCOPE("COptimizerCommClient::OnOptimizerModuleEnableChanged");
    TRACE_LINE(trace::kInformation, L"user=%s enabled=%d", user, enabled);
    if (!IsForObservers(user)) return;
    m_observers.NotifyEvents(
        [&](IOptimizerEvents* observer) { observer->OnOptimizerModuleEnableChanged(user, enabled); });
}

void COptimizerCommClient::_OnOptimizerProcessOptimized(const wchar_t* process, uint32_t count) {
    TRACE_SCOPE("COptimizerCommClient::OnOptimizerProcessOptimized");
    TRACE_LINE(trace::kInformation, L"process=%s count=%d", process, count);
    m_observers.NotifyEvents(
        [&](IOptimizerEvents* observer) { observer->OnOptimizerProcessOptimized(process, count); });
}

uint32_t COptimizerCommClient::AddEventsObserver(IOptimizerEvents* observer) {
    return m_observers.AddEvents(observer);
}

uint32_t COptimizerCommClient::RemoveEventsObserver(IOptimizerEvents* observer) {
    return m_observers.RemoveEvents(observer);
}

uint32_t COptimizerCommClient::AddResponseObserver(IOptimizerResponse* observer) {
    return m_observers.AddResponses(observer);
}

uint32_t COptimizerCommClient::RemoveResponseObserver(IOptimizerResponse* observer) {
    return m_observers.RemoveResponses(observer);
}

}  // namespace optimizer
