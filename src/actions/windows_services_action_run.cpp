// The changes themselves, on the serial execution and in the action's end.
#include <vector>

#include "actions/windows_services_action.h"
#include "frame/work_item.h"

namespace optimizer {

namespace {

constexpr uint32_t kStepLimitMs = 10;

/// No change stays in flight behind a pass over the queue, also when that ends in an exception.
class EndOfTurns {
public:
    explicit EndOfTurns(CServiceQueue& queue) : m_queue(queue) {}
    ~EndOfTurns() { m_queue.EndTurn(); }
    EndOfTurns(const EndOfTurns&) = delete;
    EndOfTurns& operator=(const EndOfTurns&) = delete;

private:
    CServiceQueue& m_queue;
};

}  // namespace

/// Carries changes out on this thread, with nobody left to abort a wait. A service that is still on its way
/// to a state would refuse the command of a profile, so that it is given time to arrive.
void CWindowsServicesAction::_Finish(const std::deque<ServiceChange>& changes) {
    TRACE_SCOPE("CWindowsServicesAction::_Finish");
    m_isEnding = true;
    const uint32_t startMs = GetTickCount();
    std::vector<std::wstring> goBack;
    for (const ServiceChange& change : changes) {
        if (change.isWayBack) {
            goBack.push_back(change.journey.name);
        } else if (!change.isRepeated) {
            Seen<ServiceStatus> seen;
            while (LookAt(*m_service, change.journey.name, seen) == 0 && !seen.isSettled &&
                   GetTickCount() - startMs < kPendingPatienceMs) {
                Sleep(kBackPollMs);
            }
            _ChangeInto(traceScope, change);
        }
    }
    // What isn't back is traced already, and its note stays.
    static_cast<void>(CServiceWayBack(*m_service, m_tracks).BringBack(goBack, startMs, [] { return false; }));
}

bool CWindowsServicesAction::SetServiceStartup(const std::wstring& name, ServiceStartup startup) {
    TRACE_SCOPE("CWindowsServicesAction::SetServiceStartup");
    TRACE_LINE(trace::kInformation, L"%s %d", name.c_str(), static_cast<int>(startup));
    if (startup == ServiceStartup::None) return true;
    const std::optional<uint32_t> type = TypeOfStartup(startup);
    if (!type) return false;
    m_tracks.Visit(name, [&](ServiceTrack& track) { track.startup.own.Give(startup, GetTickCount()); });
    const uint32_t error = m_service->SetStartup(name.c_str(), *type);
    if (error != 0) {
        TRACE_LINE(trace::kWarning, L"SetStartup %s failed 0x%x", name.c_str(), error);
        return false;
    }
    m_tracks.Visit(name, [&](ServiceTrack& track) { track.startup.own.Arrive(startup); });
    return true;
}

void CWindowsServicesAction::EnqueueServiceAction(const std::wstring& name, ServiceStatus status) {
    _Enqueue(name, status, false);
}

void CWindowsServicesAction::_Enqueue(const std::wstring& name, ServiceStatus status, bool isWayBack) {
    TRACE_SCOPE("CWindowsServicesAction::EnqueueServiceAction");
    TRACE_LINE(trace::kInformation, L"%s %d", name.c_str(), static_cast<int>(status));
    m_queue.Add({.journey = {.name = name}, .status = status, .isWayBack = isWayBack});
    if (m_serialExecution == nullptr) return;
    // One item for each change: an item that finds the queue empty ends at once.
    auto* const item = new EqWorkItemMember0<void, CWindowsServicesAction>(
        this, &CWindowsServicesAction::ProcessServicesActionsQueue);
    const uint32_t error = m_serialExecution->Post(L"CWindowsServicesAction_ProcessServicesActionsQueue",
                                                   nullptr, item, 0, 0, 0);
    if (error == 0) return;
    // The change stays queued, for the next item or the destructor.
    TRACE_LINE(trace::kWarning, L"Post failed 0x%x", error);
    item->Dispose();
}

void CWindowsServicesAction::ProcessServicesActionsQueue() {
    TRACE_SCOPE("CWindowsServicesAction::ProcessServicesActionsQueue");
    const EndOfTurns end(m_queue);
    CServiceWayBack wayBack(*m_service, m_tracks);
    while (std::optional<ServiceChange> change = m_queue.Take()) {
        ServiceJourney& journey = change->journey;
        if (!change->isRepeated) {
            journey.startMs = GetTickCount();
            TRACE_LINE(trace::kInformation, L"%s %d", journey.name.c_str(), static_cast<int>(change->status));
        }
        bool again = false;
        if (change->isWayBack) {
            journey.progress = wayBack.Advance(journey);
            again = journey.progress == Progress::UnderWay;
            if (journey.progress == Progress::Back && journey.lastStep.kind == BackStep::Kind::Done) {
                TRACE_LINE(trace::kInformation, L"No change for service %s", journey.name.c_str());
            }
        } else {
            again = change->isRepeated ? _IsUnderWay(*change) : _ChangeInto(traceScope, *change);
        }
        const bool hasLeft = journey.progress == Progress::Back && m_tracks.RemoveLeaving(journey.name);
        m_queue.EndTurn(*change, again);
        // With nothing in flight: whoever stops the queue meanwhile doesn't wait for the observer.
        if (hasLeft && m_observer != nullptr) m_observer->OnNoteShrunk(this);
    }
}

/// True when the service is on its way, so that its arrival is still to be seen.
bool CWindowsServicesAction::_ChangeInto(const trace::LogScope& traceScope, const ServiceChange& change) {
    const std::wstring& name = change.journey.name;
    Seen<ServiceStatus> current;
    if (LookAt(*m_service, name, current) != 0 || current.value == ServiceStatus::None) {
        TRACE_LINE(trace::kWarning, L"GetServiceStatus %s failed", name.c_str());
        return false;
    }
    if (current.value == change.status) {
        TRACE_LINE(trace::kInformation, L"No change for service %s", name.c_str());
        return !current.isSettled;
    }
    if (!TransitionService(name, current.value, change.status)) {
        TRACE_LINE(trace::kWarning, L"TransitionService %s from %d to %d failed", name.c_str(),
                   static_cast<int>(current.value), static_cast<int>(change.status));
    }
    return change.status != ServiceStatus::None && _IsUnderWay(change);
}

/// A change that is seen to arrive ends what may still be its doing: from then on another status is
/// somebody's wish.
bool CWindowsServicesAction::_IsUnderWay(const ServiceChange& change) {
    Seen<ServiceStatus> seen;
    if (LookAt(*m_service, change.journey.name, seen) != 0) return false;
    if (!seen.isSettled) return GetTickCount() - change.journey.startMs < kPendingPatienceMs;
    m_tracks.Visit(change.journey.name, [&](ServiceTrack& track) { track.status.own.Arrive(seen.value); });
    return false;
}

bool CWindowsServicesAction::TransitionService(const std::wstring& name, ServiceStatus from,
                                               ServiceStatus to) {
    TRACE_SCOPE("CWindowsServicesAction::TransitionService");
    const ServiceSteps steps = StepsBetween(from, to);
    m_tracks.Visit(name, [&](ServiceTrack& track) {
        if (steps[0] == nullptr) return;
        // Two steps lead through the running state, and may end there.
        if (steps[1] != nullptr) track.status.own.Give(ServiceStatus::Running, GetTickCount());
        track.status.own.Give(to, GetTickCount());
    });
    for (const ServiceStep step : steps) {
        if (step == nullptr) break;
        const uint32_t limitMs = m_isEnding ? LimitThatNeverWaits() : kStepLimitMs;
        // A step that gives 0 ends the list and counts as the failure; any other result goes on. It stays so.
        if ((*m_service.*step)(name.c_str(), limitMs) == 0) return false;
    }
    return true;
}

}  // namespace optimizer
