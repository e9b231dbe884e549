#include "actions/service_way_back.h"

#include <algorithm>
#include <utility>

#include <windows.h>

#include "frame/trace.h"

namespace optimizer {

namespace {

constexpr uint32_t kStandstillMs = 1000;
// Shorter than a standstill: a service that waits for another one's stop must be tried again behind it.
constexpr uint32_t kLongestPauseMs = 400;
constexpr uint32_t kWrapMarginMs = 5000;
// More than any way back has: a service that somebody else pulls about mustn't hold the others up.
constexpr int kMostStepsAtOnce = 6;

bool IsGone(uint32_t error) {
    return error == ERROR_SERVICE_DOES_NOT_EXIST || error == ERROR_SERVICE_MARKED_FOR_DELETE;
}

}  // namespace

uint32_t LimitThatNeverWaits() {
    const uint32_t leftMs = 0xFFFFFFFF - GetTickCount();
    if (leftMs < kWrapMarginMs) Sleep(leftMs + 1);
    return (0xFFFFFFFF - GetTickCount()) / 2;
}

BackStep NextStepBack(const ServiceRecord& noted, const ServiceSight& seen) {
    const ServiceStatus status = seen.status.value;
    const ServiceStartup startup = seen.startup.value;
    if (noted.status != ServiceStatus::None && status != ServiceStatus::None) {
        if (!seen.status.isSettled) return {BackStep::Kind::Wait};
        const ServiceMove move = FirstMoveBack(status, noted.status);
        if (status == ServiceStatus::Stopped && move.step != nullptr && startup == ServiceStartup::Disabled) {
            // What is disabled can't start. Noted so, it is enabled for the moment of its start only.
            const bool isNotedSo = noted.startup == ServiceStartup::Disabled;
            return {BackStep::Kind::SetStartup, {}, isNotedSo ? ServiceStartup::Manual : noted.startup};
        }
        if (move.step != nullptr) return {BackStep::Kind::Move, move};
    }
    if (noted.startup != ServiceStartup::None && startup != ServiceStartup::None &&
        startup != noted.startup) {
        return {BackStep::Kind::SetStartup, {}, noted.startup};
    }
    return {};
}

uint32_t CServiceWayBack::_LookAndDecide(const std::wstring& name, BackStep& step) {
    const ServiceRecord noted = m_tracks.RecordOf(name);
    ServiceSight seen;
    uint32_t error = 0;
    if (noted.status != ServiceStatus::None) error = LookAt(m_service, name, seen.status);
    if (error == 0 && noted.startup != ServiceStartup::None) error = LookAt(m_service, name, seen.startup);
    if (error != 0) return error;
    m_tracks.Visit(name, [&](ServiceTrack& track) {
        track.status.Look(seen.status);
        track.startup.Look(seen.startup);
        step = NextStepBack(track.Record(), seen);
        const bool mayMove = noted.status != ServiceStatus::None && track.status.own.MayMove(GetTickCount());
        if (step.kind == BackStep::Kind::Done && mayMove) step.kind = BackStep::Kind::Wait;
    });
    return 0;
}

bool CServiceWayBack::IsBack(const std::wstring& name) {
    BackStep step;
    const uint32_t error = _LookAndDecide(name, step);
    return error == 0 ? step.kind == BackStep::Kind::Done : IsGone(error);
}

Progress CServiceWayBack::Advance(ServiceJourney& journey) {
    if (!std::exchange(journey.hasBegun, true)) m_lastMoveMs = GetTickCount();
    if (_GoOn(journey) || IsGone(journey.error)) return Progress::Back;
    const uint32_t nowMs = GetTickCount();
    const bool isOver =
        nowMs - journey.startMs >= kPendingPatienceMs || nowMs - m_lastMoveMs >= kStandstillMs;
    if (!isOver) return Progress::UnderWay;
    TRACE_SCOPE("CServiceWayBack::Advance");
    TRACE_LINE(trace::kError, L"Service %s could not be brought back: 0x%x", journey.name.c_str(),
               journey.error);
    return Progress::GivenUp;
}

/// True when the service is seen to be back.
bool CServiceWayBack::_GoOn(ServiceJourney& journey) {
    for (int i = 0; i < kMostStepsAtOnce; ++i) {
        BackStep step;
        const uint32_t error = _LookAndDecide(journey.name, step);
        if (error == 0 && step.kind == BackStep::Kind::Done) return true;
        if (error == 0 && step.kind != BackStep::Kind::Wait) {
            if (!_MayTake(journey, step) || !_Take(journey, step)) return false;
            continue;
        }
        journey.error = error != 0 ? error : ERROR_TIMEOUT;
        if (error == 0) m_lastMoveMs = GetTickCount();
        return false;
    }
    return false;
}

/// A step that didn't help is repeated ever more seldom: a service that ends right after each start would
/// otherwise be started hundreds of times.
bool CServiceWayBack::_MayTake(const ServiceJourney& journey, const BackStep& step) {
    return !step.IsAs(journey.lastStep) || GetTickCount() - journey.steppedMs >= journey.pauseMs;
}

/// False when the step was refused.
bool CServiceWayBack::_Take(ServiceJourney& journey, const BackStep& step) {
    journey.pauseMs =
        step.IsAs(journey.lastStep) ? std::min(journey.pauseMs * 2, kLongestPauseMs) : kBackPollMs;
    journey.lastStep = step;
    journey.error = _Do(journey.name, step);
    journey.steppedMs = GetTickCount();
    if (journey.error != 0) return false;
    m_lastMoveMs = journey.steppedMs;
    journey.error = ERROR_TIMEOUT;  // unless it is seen to arrive
    return true;
}

uint32_t CServiceWayBack::_Do(const std::wstring& name, const BackStep& step) {
    if (step.kind == BackStep::Kind::SetStartup) {
        m_tracks.Visit(name,
                       [&](ServiceTrack& track) { track.startup.own.Give(step.startup, GetTickCount()); });
        return m_service.SetStartup(name.c_str(), TypeOfStartup(step.startup).value_or(SERVICE_NO_CHANGE));
    }
    m_tracks.Visit(name, [&](ServiceTrack& track) {
        // A stage isn't the arrival: a service that falls back from there does nobody's wish.
        track.status.own.Give(step.move.to, GetTickCount());
        track.status.own.Give(track.status.noted, GetTickCount());
    });
    const uint32_t error = (m_service.*step.move.step)(name.c_str(), LimitThatNeverWaits());
    // The limit ends the wait, not the command.
    return error == ERROR_TIMEOUT ? 0 : error;
}

uint32_t CServiceWayBack::BringBack(const std::vector<std::wstring>& names, uint32_t startMs,
                                    const std::function<bool()>& isStopped) {
    TRACE_SCOPE("CServiceWayBack::BringBack");
    std::vector<ServiceJourney> journeys;
    journeys.reserve(names.size());
    for (const std::wstring& name : names)
        journeys.push_back({.name = name, .startMs = startMs});
    for (;;) {
        bool isUnderWay = false;
        for (ServiceJourney& journey : journeys) {
            if (isStopped()) return ERROR_CANCELLED;
            if (journey.progress == Progress::UnderWay) journey.progress = Advance(journey);
            isUnderWay = isUnderWay || journey.progress == Progress::UnderWay;
        }
        if (!isUnderWay) break;
        Sleep(kBackPollMs);
    }
    const auto failed = std::ranges::find(journeys, Progress::GivenUp, &ServiceJourney::progress);
    return failed != journeys.end() ? failed->error : 0;
}

}  // namespace optimizer
