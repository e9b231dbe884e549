#include "connector/server_endpoint.h"

#include <algorithm>
#include <exception>
#include <utility>

#include <windows.h>

#include "border/client_watch.h"
#include "frame/guarded.h"
#include "frame/trace.h"

namespace host {

using optimizer::Guarded;

namespace trace = optimizer::trace;

namespace {

using optimizer::LockGuard;

constexpr uint32_t kPartingMs = 2000;

/// A client that doesn't read is dropped, and so is one that there is no memory for; neither is anybody
/// else's trouble.
uint32_t SendOrDrop(CPipeConnection& client, const Frame& frame) {
    const uint32_t error = Guarded([&] { return client.Send(frame); });
    if (error == ERROR_OUTOFMEMORY) client.Drop();
    if (error == ERROR_NOT_ENOUGH_QUOTA) {
        TRACE_SCOPE("SendOrDrop");
        TRACE_LINE(trace::kWarning, L"Client %u doesn't read", client.Id());
        client.Drop();
    }
    return error;
}

}  // namespace

CServerEndpoint::~CServerEndpoint() {
    m_ending = true;
    SetEvent(m_roused.Get());
    m_acceptor.Join();
    // Only receive functions in flight look at the list by now.
    _Part();
    for (const auto& entry : m_clients)
        entry.second->End();
}

/// What is sent last is often what matters most: an engine that ends for good has the agents put the sessions
/// back. A pipe that ends takes with it what its client hasn't read yet.
void CServerEndpoint::_Part() {
    CWorkerThread flush;
    if (flush.Start<&CServerEndpoint::_Flush>(this) == ERROR_SUCCESS) {
        static_cast<void>(flush.JoinWithin(kPartingMs));
    }
    for (const auto& entry : m_clients)
        entry.second->Disconnect();
    flush.Join();
}

void CServerEndpoint::_Flush() noexcept {
    for (const auto& entry : m_clients)
        entry.second->Flush();
}

uint32_t CServerEndpoint::Open(const wchar_t* pipeName) {
    m_roused.Reset(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    if (!m_roused) return GetLastError();
    uint32_t error = m_listener.Open(pipeName);
    if (error == ERROR_SUCCESS) error = m_completions.Open();
    if (error == ERROR_SUCCESS) error = m_acceptor.Start<&CServerEndpoint::_Run>(this);
    return error;
}

uint32_t CServerEndpoint::sendMessage(uint32_t, const void*, uint32_t, ConnectorResponse**, uint64_t,
                                      uint32_t) {
    return ERROR_NOT_SUPPORTED;
}

uint32_t CServerEndpoint::postMessage(uint32_t id, const void* data, uint32_t sizeBytes, uint32_t target) {
    return Guarded([&]() -> uint32_t {
        const uint32_t error = CheckPayload(data, sizeBytes);
        if (error != ERROR_SUCCESS) return error;
        const Client client = _Find(target);
        if (!client) return ERROR_NOT_FOUND;
        return SendOrDrop(*client, MakeFrame({.id = id, .sizeBytes = sizeBytes}, data));
    });
}

uint32_t CServerEndpoint::replyStatus(const ConnectorMessage* message, uint32_t status) {
    return _Reply(message, message != nullptr ? message->id : 0, status, &status, sizeof(status));
}

uint32_t CServerEndpoint::replyData(const ConnectorMessage* message, uint32_t id, const void* data,
                                    uint32_t sizeBytes) {
    return _Reply(message, id, 0, data, sizeBytes);
}

uint32_t CServerEndpoint::setCallback(ConnectorCallback* function, void* context, uint32_t /*mode*/) {
    if (function == nullptr) return ERROR_INVALID_PARAMETER;
    m_gate.Open(function, context);
    SetEvent(m_roused.Get());
    return ERROR_SUCCESS;
}

uint32_t CServerEndpoint::broadcast(uint32_t id, const void* data, uint32_t sizeBytes, uint64_t, uint64_t,
                                    uint32_t target) {
    if (target != kEveryClient) return ERROR_INVALID_PARAMETER;
    return _SendToAll(id, data, sizeBytes, [](const CPipeConnection&) { return true; });
}

uint32_t CServerEndpoint::PostToSession(uint32_t session, uint32_t id, const void* data, uint32_t sizeBytes) {
    const auto isInSession = [=](const CPipeConnection& client) { return client.ClientSession() == session; };
    return _SendToAll(id, data, sizeBytes, isInSession);
}

uint32_t CServerEndpoint::CountClients(uint32_t session) {
    const auto isInSession = [=](const CPipeConnection& client) { return client.ClientSession() == session; };
    return static_cast<uint32_t>(_CountIf(isInSession));
}

uint32_t CServerEndpoint::SessionOf(uint32_t senderId) {
    const Client client = _Find(senderId);
    return client ? client->ClientSession() : IClientWatch::kNoSession;
}

bool CServerEndpoint::OnFrame(CPipeConnection& client, const FrameHeader& header, uint8_t* bytes) {
    if (header.kind == FrameKind::Reply) return false;
    client.Expect(header.call);
    m_gate.Deliver(_MessageFrom(header, bytes, client.Id()));
    client.Expect(0);
    return true;
}

void CServerEndpoint::OnUnsound(CPipeConnection& client) {
    TRACE_SCOPE("CServerEndpoint::OnUnsound");
    const ClientOrigin& origin = client.Origin();
    uint32_t leftOut = 0;
    if (!m_unsoundFrames.MayWrite(origin, GetTickCount64(), leftOut)) return;
    TRACE_LINE(
        trace::kError,
        L"Process %u of account %s in session %u sent an unsound frame and is dropped; dropped without "
        L"a line since the last one: %u",
        client.ClientProcess(), origin.account.c_str(), origin.session, leftOut);
}

void CServerEndpoint::OnOver() {
    SetEvent(m_roused.Get());
}

void CServerEndpoint::_Run() noexcept {
    while (!m_ending) {
        try {
            optimizer::FileHandle pipe = m_listener.Accept(m_roused.Get());
            if (pipe) _Admit(std::move(pipe));
            if (m_gate.WasOpened()) _StartClients();
            _EndClients();
        } catch (const std::exception&) {  // out of memory: this client isn't served
            TRACE_SCOPE("CServerEndpoint::_Run");
            TRACE_LINE(trace::kError, L"Out of memory");
        }
    }
}

void CServerEndpoint::_Admit(optimizer::FileHandle pipe) {
    do {
        ++m_lastId;
    } while (m_lastId == 0 || m_lastId == kEveryClient);
    IConnectionEvents& events = *this;
    const auto client =
        std::make_shared<CPipeConnection>(std::move(pipe), CPipeConnection::Side::Server, m_lastId, events);
    if (!_HasPlace(*client)) {
        client->End();
        return;
    }
    client->LimitBy(_BudgetFor(client->Origin()));
    const Frame welcome = MakeFrame({.kind = FrameKind::Reply, .call = kWelcomeCall}, nullptr);
    m_admitted.reserve(m_admitted.size() + 1);
    const uint32_t error = client->Open(m_completions);
    if (error != ERROR_SUCCESS) {
        TRACE_SCOPE("CServerEndpoint::_Admit");
        TRACE_LINE(trace::kError, L"A client can't be served: 0x%x", error);
        client->End();
        return;
    }
    {
        const LockGuard guard(m_clientsLock);
        m_clients.emplace(client->Id(), client);
    }
    m_admitted.push_back(client);
    (void)client->Send(welcome);  // a client that has gone is noticed by its thread
}

bool CServerEndpoint::_HasPlace(const CPipeConnection& comer) {
    TRACE_SCOPE("CServerEndpoint::_HasPlace");
    std::vector<ClientOrigin> present;
    for (const Client& client : _Clients()) {
        if (!client->IsOver()) present.push_back(client->Origin());
    }
    const ClientOrigin& origin = comer.Origin();
    if (HasPlace(origin, present)) return true;
    uint32_t leftOut = 0;
    if (m_refusals.MayWrite(origin, GetTickCount64(), leftOut)) {
        TRACE_LINE(trace::kWarning,
                   L"No place for process %u of account %s in session %u, %u clients are connected; refused "
                   L"without a line since the last one: %u",
                   comer.ClientProcess(), origin.account.c_str(), origin.session,
                   static_cast<uint32_t>(present.size()), leftOut);
    }
    return false;
}

/// That of the account's other clients, or a new one.
std::shared_ptr<CSendBudget> CServerEndpoint::_BudgetFor(const ClientOrigin& origin) {
    for (const Client& client : _Clients()) {
        if (client->Origin().account == origin.account) return client->Budget();
    }
    return std::make_shared<CSendBudget>(kMostWaitingBytes / 4, &m_budget);
}

void CServerEndpoint::_StartClients() {
    for (const Client& client : m_admitted) {
        const uint32_t error = client->Start();
        if (error == ERROR_SUCCESS) continue;
        TRACE_SCOPE("CServerEndpoint::_StartClients");
        TRACE_LINE(trace::kError, L"A client can't be served: 0x%x", error);
        client->End();
        const LockGuard guard(m_clientsLock);
        m_clients.erase(client->Id());
    }
    m_admitted.clear();
}

/// Joins the threads of clients that are over and lets go of them.
void CServerEndpoint::_EndClients() {
    std::vector<Client> over;
    {
        const LockGuard guard(m_clientsLock);
        over.reserve(m_clients.size());
        std::erase_if(m_clients, [&](const auto& entry) {
            const bool isOver = entry.second->IsOver();
            if (isOver) over.push_back(entry.second);
            return isOver;
        });
    }
    for (const Client& client : over)
        client->End();
}

CServerEndpoint::Client CServerEndpoint::_Find(uint32_t id) {
    const LockGuard guard(m_clientsLock);
    const auto client = m_clients.find(id);
    return client != m_clients.end() ? client->second : nullptr;
}

/// Of the clients that are still connected.
template <class Condition>
size_t CServerEndpoint::_CountIf(Condition condition) {
    const LockGuard guard(m_clientsLock);
    return static_cast<size_t>(std::count_if(m_clients.begin(), m_clients.end(), [&](const auto& entry) {
        return !entry.second->IsOver() && condition(*entry.second);
    }));
}

std::vector<CServerEndpoint::Client> CServerEndpoint::_Clients() {
    std::vector<Client> clients;
    const LockGuard guard(m_clientsLock);
    clients.reserve(m_clients.size());
    for (const auto& entry : m_clients)
        clients.push_back(entry.second);
    return clients;
}

/// To those that the condition holds for.
template <class Condition>
uint32_t CServerEndpoint::_SendToAll(uint32_t id, const void* data, uint32_t sizeBytes, Condition condition) {
    return Guarded([&]() -> uint32_t {
        const uint32_t error = CheckPayload(data, sizeBytes);
        if (error != ERROR_SUCCESS) return error;
        const Frame frame = MakeFrame({.id = id, .sizeBytes = sizeBytes}, data);
        const LockGuard guard(m_broadcastLock);
        for (const Client& client : _Clients()) {
            if (condition(*client)) (void)SendOrDrop(*client, frame);
        }
        return ERROR_SUCCESS;
    });
}

uint32_t CServerEndpoint::_Reply(const ConnectorMessage* message, uint32_t id, uint32_t status,
                                 const void* data, uint32_t sizeBytes) {
    const uint32_t result = Guarded([&]() -> uint32_t {
        const uint32_t error = message == nullptr ? ERROR_INVALID_PARAMETER : CheckPayload(data, sizeBytes);
        if (error != ERROR_SUCCESS) return error;
        const FrameHeader header = {.kind = FrameKind::Reply,
                                    .call = _CallOf(message),
                                    .id = id,
                                    .status = status,
                                    .sizeBytes = sizeBytes};
        const Client client = _Find(message->senderId);
        if (!client) return ERROR_NOT_FOUND;
        const Frame frame = MakeFrame(header, data);
        return client->TakeAnswer(header.call) ? SendOrDrop(*client, frame) : ERROR_NOT_FOUND;
    });
    // Who waits for an answer that there is no memory for is told by the end of the connection.
    if (const Client client = result == ERROR_OUTOFMEMORY ? _Find(message->senderId) : nullptr)
        client->Drop();
    return result;
}

}  // namespace host
