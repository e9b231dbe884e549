#include "actions/service_queue.h"

#include <algorithm>
#include <utility>

#include <windows.h>

namespace optimizer {

namespace {

constexpr DWORD kAbortPeriodMs = 10;

bool IsDue(const ServiceChange& change) {
    return !change.isRepeated || GetTickCount() - change.steppedMs >= kBackPollMs;
}

}  // namespace

void CServiceQueue::Add(ServiceChange change) {
    const CriticalSectionGuard guard(m_lock);
    change.number = ++m_count;
    m_changes.push_back(std::move(change));
}

bool CServiceQueue::IsIdle() {
    const CriticalSectionGuard guard(m_lock);
    return m_changes.empty() && !m_inFlight;
}

std::optional<ServiceChange> CServiceQueue::Take() {
    for (;;) {
        {
            const CriticalSectionGuard guard(m_lock);
            if (m_changes.empty()) return std::nullopt;
            const auto due = std::ranges::find_if(m_changes, IsDue);
            if (due != m_changes.end()) {
                m_inFlight = std::move(*due);
                m_changes.erase(due);
                return m_inFlight;
            }
        }
        // Nothing has its turn meanwhile, so that nobody who stops the queue waits for this.
        Sleep(kBackPollMs);
    }
}

void CServiceQueue::EndTurn(const ServiceChange& change, bool again) {
    const CriticalSectionGuard guard(m_lock);
    m_inFlight.reset();
    if (!again || change.number <= m_droppedCount) return;
    m_changes.push_back(change);
    m_changes.back().isRepeated = true;
    m_changes.back().steppedMs = GetTickCount();
}

void CServiceQueue::EndTurn() {
    const CriticalSectionGuard guard(m_lock);
    m_inFlight.reset();
}

void CServiceQueue::Stop() {
    static_cast<void>(StopAndTakeAll());
}

std::deque<ServiceChange> CServiceQueue::StopAndTakeAll() {
    std::deque<ServiceChange> dropped;
    {
        const CriticalSectionGuard guard(m_lock);
        dropped.swap(m_changes);
        if (m_inFlight) dropped.push_front(*m_inFlight);
        m_droppedCount = m_count;
    }
    _AbortChangeInFlight();
    return dropped;
}

void CServiceQueue::_AbortChangeInFlight() {
    const CriticalSectionGuard guard(m_abortLock);
    const std::optional<uint64_t> number = _NumberInFlight();
    m_service.AbortOperations();
    if (!number) return;
    // Between two calls of the change the service object has nothing to abort; were the change left there, it
    // could still give its command after the caller has read the service.
    while (_NumberInFlight() == number) {
        Sleep(kAbortPeriodMs);
        m_service.AbortOperations();
    }
}

std::optional<uint64_t> CServiceQueue::_NumberInFlight() {
    const CriticalSectionGuard guard(m_lock);
    return m_inFlight ? std::optional(m_inFlight->number) : std::nullopt;
}

}  // namespace optimizer
