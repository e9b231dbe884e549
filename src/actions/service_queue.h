#pragma once

#include <deque>
#include <optional>

#include "actions/service_way_back.h"
#include "frame/critical_section.h"

namespace optimizer {

/// A change of run status that waits for its turn.
struct ServiceChange {
    ServiceJourney journey;
    ServiceStatus status = ServiceStatus::None;
    bool isWayBack = false;   // to what is noted, by the way back's own steps
    bool isRepeated = false;  // it had a turn, and the service was still on its way
    uint32_t steppedMs = 0;   // the end of that turn
    uint64_t number = 0;
};

/// The changes of run status of one services action, with the one that has its turn. One thread takes them;
/// any thread adds and stops them.
///
/// Locks: the abort lock, then the queue lock. Neither is held across a change.
class CServiceQueue {
public:
    /// `service` is what the changes are made with, and outlives the queue.
    explicit CServiceQueue(IWindowsService& service) : m_service(service) {}
    CServiceQueue(const CServiceQueue&) = delete;
    CServiceQueue& operator=(const CServiceQueue&) = delete;

    void Add(ServiceChange change);
    /// No change waits or has its turn.
    bool IsIdle();
    /// Blocks while the changes that are left wait for their services. Nothing when none is left.
    std::optional<ServiceChange> Take();
    /// Ends the turn of the change taken last. With `again` it gets another one, unless it was stopped.
    void EndTurn(const ServiceChange& change, bool again);
    /// Ends the turn that an exception left.
    void EndTurn();
    /// Drops what waits and blocks until the change that has its turn has given up its wait.
    void Stop();
    /// As Stop, and hands out what was dropped, with what had its turn in front: that may have been stopped
    /// short of its command.
    std::deque<ServiceChange> StopAndTakeAll();

private:
    void _AbortChangeInFlight();
    std::optional<uint64_t> _NumberInFlight();

    IWindowsService& m_service;

    CCriticalSection m_abortLock;  // one abort at a time
    CCriticalSection m_lock ACQUIRED_AFTER(m_abortLock);
    std::deque<ServiceChange> m_changes GUARDED_BY(m_lock);
    std::optional<ServiceChange> m_inFlight GUARDED_BY(m_lock);
    uint64_t m_count GUARDED_BY(m_lock) = 0;
    uint64_t m_droppedCount GUARDED_BY(m_lock) = 0;  // changes up to this number are dropped
};

}  // namespace optimizer
