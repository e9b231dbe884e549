#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <vector>

#include "connector/endpoint.h"
#include "connector/pipe_connection.h"
#include "connector/pipe_listener.h"
#include "connector/rare_lines.h"
#include "connector/send_budget.h"
#include "connector/worker_thread.h"
#include "connector/write_completions.h"
#include "frame/slim_lock.h"

namespace host {

/// The server end of a pipe. From Open on clients are admitted; what they send is read from the first
/// setCallback on, each client's on a thread of its own. A client that sends what isn't a frame, or doesn't
/// read what it is sent, is dropped.
/// The destructor disconnects all and blocks until no receive function runs. Before, it gives the clients two
/// seconds to read what they were sent.
class CServerEndpoint final : public CEndpoint, private IConnectionEvents {
public:
    CServerEndpoint() = default;
    ~CServerEndpoint();

    /// 0 or why the name can't be served. Throws std::bad_alloc.
    [[nodiscard]] uint32_t Open(const wchar_t* pipeName);

    /// 50 (ERROR_NOT_SUPPORTED): a server waits for nobody.
    uint32_t sendMessage(uint32_t id, const void* data, uint32_t sizeBytes, ConnectorResponse** response,
                         uint64_t reserved, uint32_t timeoutMs) override;
    /// 0, 87 (ERROR_INVALID_PARAMETER) for the payload, 1168 (ERROR_NOT_FOUND) for a client that has gone,
    /// 1816 (ERROR_NOT_ENOUGH_QUOTA) for one that fell behind and is dropped, or the system's error.
    uint32_t postMessage(uint32_t id, const void* data, uint32_t sizeBytes, uint32_t target) override;
    /// As postMessage, and 1168 when the message isn't to be answered, or was.
    uint32_t replyStatus(const ConnectorMessage* message, uint32_t status) override;
    uint32_t replyData(const ConnectorMessage* message, uint32_t id, const void* data,
                       uint32_t sizeBytes) override;
    void freeResponse(ConnectorResponse*) override {}
    uint32_t setCallback(ConnectorCallback* function, void* context, uint32_t mode) override;
    /// 0 whatever becomes of single clients, or 87.
    uint32_t broadcast(uint32_t id, const void* data, uint32_t sizeBytes, uint64_t reserved1,
                       uint64_t reserved2, uint32_t target) override;

    // As of IClientWatch. Any thread.
    uint32_t CountClients(uint32_t session);
    uint32_t SessionOf(uint32_t senderId);
    uint32_t PostToSession(uint32_t session, uint32_t id, const void* data, uint32_t sizeBytes);

private:
    /// For readers, of all clients together; one account's may have a quarter of it.
    static constexpr size_t kMostWaitingBytes = size_t{64} * 1024 * 1024;

    using Client = std::shared_ptr<CPipeConnection>;

    bool OnFrame(CPipeConnection& client, const FrameHeader& header, uint8_t* bytes) override;
    void OnUnsound(CPipeConnection& client) override;
    void OnWoken() override {}
    void OnOver() override;

    void _Run() noexcept;
    // Not checked for the lock: with the accepting thread gone the list of clients stays as it is.
    void _Flush() noexcept NO_THREAD_SAFETY_ANALYSIS;
    void _Part() NO_THREAD_SAFETY_ANALYSIS;
    void _Admit(optimizer::FileHandle pipe);
    bool _HasPlace(const CPipeConnection& comer) EXCLUDES(m_clientsLock);
    std::shared_ptr<CSendBudget> _BudgetFor(const ClientOrigin& origin) EXCLUDES(m_clientsLock);
    void _StartClients() EXCLUDES(m_clientsLock);
    void _EndClients() EXCLUDES(m_clientsLock);
    Client _Find(uint32_t id) EXCLUDES(m_clientsLock);
    template <class Condition>
    size_t _CountIf(Condition condition) EXCLUDES(m_clientsLock);
    std::vector<Client> _Clients() EXCLUDES(m_clientsLock);
    template <class Condition>
    uint32_t _SendToAll(uint32_t id, const void* data, uint32_t sizeBytes, Condition condition);
    uint32_t _Reply(const ConnectorMessage* message, uint32_t id, uint32_t status, const void* data,
                    uint32_t sizeBytes);

    CRareLines m_unsoundFrames;
    CSendBudget m_budget{kMostWaitingBytes};
    CWriteCompletions m_completions;
    optimizer::KernelHandle m_roused;  // there is work for the accepting thread
    std::atomic<bool> m_ending = false;
    CWorkerThread m_acceptor;

    // The accepting thread's, once that runs.
    CPipeListener m_listener;
    CRareLines m_refusals;
    uint32_t m_lastId = 0;
    std::vector<Client> m_admitted;  // not read from yet

    // Held while one broadcast goes out, so that all clients see several in one order; sending doesn't block.
    optimizer::CSlimLock m_broadcastLock;
    optimizer::CSlimLock m_clientsLock ACQUIRED_AFTER(m_broadcastLock);  // nothing is called under it
    std::map<uint32_t, Client> m_clients GUARDED_BY(m_clientsLock);
};

}  // namespace host
