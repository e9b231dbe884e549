#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "border/connector.h"
#include "frame/slim_lock.h"

namespace host {

/// The requests of a client that wait for their replies. Any thread.
///
/// A caller begins a call, sends the request, waits for the reply, and ends the call. The connection's thread
/// hands the replies in; one that nobody waits for is dropped.
class CCallTable {
public:
    /// One caller's place, on its stack: begins the call, and ends it at the end of the scope.
    class Call {
    public:
        explicit Call(CCallTable& table);  // throws std::bad_alloc
        ~Call();
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;

        uint32_t Number() const { return m_number; }
        /// Blocks. 0 with the response, 258 (WAIT_TIMEOUT), or 233 (ERROR_PIPE_NOT_CONNECTED).
        [[nodiscard]] uint32_t Wait(uint32_t timeoutMs, ConnectorResponse** response);

    private:
        friend class CCallTable;

        CCallTable& m_table;
        ConnectorResponse* m_response =
            nullptr;  // touched under the table's lock; no check sees that all calls share it
        optimizer::CSignal m_changed;
        const uint32_t m_number;  // the last, for it comes from entering the table
    };

    CCallTable() = default;
    CCallTable(const CCallTable&) = delete;
    CCallTable& operator=(const CCallTable&) = delete;

    /// Hands in the reply to the call of that number. Throws std::bad_alloc.
    void Complete(uint32_t number, uint32_t status, const void* data, uint32_t sizeBytes);
    /// Releases all callers, now and later.
    void Break();
    /// After Break: blocks until the last caller has left.
    void WaitUntilEmpty();
    /// Null is accepted.
    void Free(ConnectorResponse* response) const;

private:
    /// Callers don't free a response that tells of a failure, so these are places in a ring, taken again
    /// after as many further failures.
    struct Failure {
        ConnectorResponse response;
        uint32_t status;
    };

    uint32_t _Begin(Call* call);
    ConnectorResponse* _MakeFailure(uint32_t status) REQUIRES(m_lock);

    optimizer::CSlimLock m_lock;
    std::vector<Call*> m_calls GUARDED_BY(m_lock);
    uint32_t m_lastNumber GUARDED_BY(m_lock) = 0;
    bool m_broken GUARDED_BY(m_lock) = false;
    std::array<Failure, 256> m_failures = {};
    size_t m_nextFailure GUARDED_BY(m_lock) = 0;
    optimizer::CSignal m_empty;
};

}  // namespace host
