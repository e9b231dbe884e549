#include "connector/call_table.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <utility>

#include <windows.h>

#include "connector/deadline.h"

namespace host {

using optimizer::LockGuard;

namespace {

struct FreeMemory {
    void operator()(ConnectorResponse* response) const { ::operator delete(response); }
};
using OwnedResponse = std::unique_ptr<ConnectorResponse, FreeMemory>;

/// The data lie behind the record, in one piece of memory.
OwnedResponse MakeResponse(const void* data, uint32_t sizeBytes) {
    void* const memory = ::operator new(sizeof(ConnectorResponse) + sizeBytes);
    OwnedResponse response(new (memory) ConnectorResponse{});
    response->sizeBytes = sizeBytes;
    response->data = response.get() + 1;
    if (sizeBytes != 0) std::memcpy(response.get() + 1, data, sizeBytes);
    return response;
}

}  // namespace

CCallTable::Call::Call(CCallTable& table) : m_table(table), m_number(table._Begin(this)) {}

CCallTable::Call::~Call() {
    const LockGuard guard(m_table.m_lock);
    std::erase(m_table.m_calls, this);
    if (m_response != nullptr) m_table.Free(m_response);  // came after the caller had given up
    if (m_table.m_calls.empty()) m_table.m_empty.WakeAll();
}

uint32_t CCallTable::Call::Wait(uint32_t timeoutMs, ConnectorResponse** response) {
    const CDeadline deadline(timeoutMs);
    const LockGuard guard(m_table.m_lock);
    while (m_response == nullptr) {
        if (m_table.m_broken) return ERROR_PIPE_NOT_CONNECTED;
        const DWORD leftMs = deadline.LeftMs();
        if (leftMs == 0) return WAIT_TIMEOUT;
        m_changed.Wait(m_table.m_lock, leftMs);
    }
    *response = std::exchange(m_response, nullptr);
    return ERROR_SUCCESS;
}

void CCallTable::Complete(uint32_t number, uint32_t status, const void* data, uint32_t sizeBytes) {
    OwnedResponse response;
    if (status == 0) response = MakeResponse(data, sizeBytes);
    const LockGuard guard(m_lock);
    const auto call =
        std::find_if(m_calls.begin(), m_calls.end(), [&](Call* c) { return c->m_number == number; });
    if (call == m_calls.end() || (*call)->m_response != nullptr) return;
    (*call)->m_response = status == 0 ? response.release() : _MakeFailure(status);
    (*call)->m_changed.WakeOne();
}

void CCallTable::Break() {
    const LockGuard guard(m_lock);
    m_broken = true;
    for (Call* const call : m_calls)
        call->m_changed.WakeOne();
}

void CCallTable::WaitUntilEmpty() {
    const LockGuard guard(m_lock);
    while (!m_calls.empty())
        m_empty.Wait(m_lock);
}

void CCallTable::Free(ConnectorResponse* response) const {
    const void* const address = response;
    const bool isFailure =
        std::greater_equal<>()(address, static_cast<const void*>(m_failures.data())) &&
        std::less<>()(address, static_cast<const void*>(m_failures.data() + m_failures.size()));
    if (!isFailure) FreeMemory()(response);
}

uint32_t CCallTable::_Begin(Call* call) {
    const LockGuard guard(m_lock);
    m_calls.push_back(call);
    if (++m_lastNumber == 0) ++m_lastNumber;  // 0 stands for no call
    return m_lastNumber;
}

ConnectorResponse* CCallTable::_MakeFailure(uint32_t status) {
    Failure& failure = m_failures[m_nextFailure++ % m_failures.size()];
    failure.status = status;
    failure.response = {};
    failure.response.status = status;
    failure.response.sizeBytes = sizeof(failure.status);
    failure.response.data = &failure.status;
    return &failure.response;
}

}  // namespace host
