#pragma once

#include <functional>
#include <string>
#include <vector>

#include "actions/iwindows_service.h"
#include "actions/service_tracks.h"

namespace optimizer {

/// What one look at a service showed. Only what is noted is looked at.
struct ServiceSight {
    Seen<ServiceStatus> status;
    Seen<ServiceStartup> startup;
};

/// What the way back of one service does next.
struct BackStep {
    enum class Kind { Done, Wait, Move, SetStartup };

    bool IsAs(const BackStep& other) const {
        return kind == other.kind && move.to == other.move.to && startup == other.startup;
    }

    Kind kind = Kind::Done;
    ServiceMove move = {};                          // of a Move
    ServiceStartup startup = ServiceStartup::None;  // of a SetStartup
};

/// A decision: from where a service is seen to where the note says.
BackStep NextStepBack(const ServiceRecord& noted, const ServiceSight& seen);

enum class Progress { UnderWay, Back, GivenUp };

/// How far the way back of one service has come.
struct ServiceJourney {
    std::wstring name;
    uint32_t startMs = 0;  // its patience counts from here
    Progress progress = Progress::UnderWay;
    uint32_t error = 0;  // what keeps it from getting there
    bool hasBegun = false;
    BackStep lastStep = {};
    uint32_t steppedMs = 0;  // when that was taken
    uint32_t pauseMs = 0;    // and how long it isn't repeated
};

/// Brings services back to their notes from whatever they are at. Where they stand is looked at before each
/// step and after the last one: no command's answer is taken for the deed. What somebody else has set in the
/// meantime stays, as the tracks judge it, and a service that is gone is back.
///
/// For one thread and one run, while no other thread gives commands to these services. No wait for a service
/// is inside its commands; they block for as long as the Service Control Manager takes to answer.
class CServiceWayBack {
public:
    CServiceWayBack(IWindowsService& service, CServiceTracks& tracks)
        : m_service(service), m_tracks(tracks) {}

    /// Looks, and takes the steps that can be taken now. To be repeated every kBackPollMs while under way. It
    /// gives up when the time that a service gets to arrive is over, and when all of them stand still.
    Progress Advance(ServiceJourney& journey);
    /// Looks only.
    bool IsBack(const std::wstring& name);
    /// Blocks until all of them are back or given up; all are tried. `startMs` is when their patience began.
    /// 0, ERROR_CANCELLED soon after `isStopped` says so, or the error of the first one that isn't back.
    uint32_t BringBack(const std::vector<std::wstring>& names, uint32_t startMs,
                       const std::function<bool()>& isStopped);

private:
    uint32_t _LookAndDecide(const std::wstring& name, BackStep& step);
    bool _GoOn(ServiceJourney& journey);
    static bool _MayTake(const ServiceJourney& journey, const BackStep& step);
    bool _Take(ServiceJourney& journey, const BackStep& step);
    uint32_t _Do(const std::wstring& name, const BackStep& step);

    IWindowsService& m_service;
    CServiceTracks& m_tracks;
    uint32_t m_lastMoveMs = 0;  // of any of the services: one may stand still until another one has moved
};

inline constexpr uint32_t kBackPollMs = 100;
/// The time in all that services get to arrive.
inline constexpr uint32_t kPendingPatienceMs = 30000;

/// A limit that makes every wait inside a command end at its first look: its deadline lies half-way between
/// now and the wrap of the tick count, and a wait goes on only past its deadline. Right before the wrap there
/// is no such deadline, so that it is let pass.
uint32_t LimitThatNeverWaits();

}  // namespace optimizer
