#include "actions/windows_services_action.h"

#include <utility>

#include "actions/windows_service.h"
#include "frame/trace.h"

namespace optimizer {

CWindowsServicesAction::CWindowsServicesAction(WindowsServicesParams parameters, IServMain* servMain)
    : ActionWith(std::move(parameters)),
      m_service(std::make_unique<CWindowsService>()),
      m_servMain(servMain),
      m_queue(*m_service) {
    TRACE_SCOPE("CWindowsServicesAction::CWindowsServicesAction");
    if (!_Init()) TRACE_LINE(trace::kError, L"Init failed");
}

bool CWindowsServicesAction::_Init() {
    TRACE_SCOPE("CWindowsServicesAction::_Init");
    if (!m_service->Init()) return false;
    if (m_servMain == nullptr) {
        TRACE_LINE(trace::kError, L"IServMain is null!");
        return false;
    }
    m_eventQueue = m_servMain->GetEventQueue();
    if (m_eventQueue == nullptr) {
        TRACE_LINE(trace::kError, L"EventQueue is null!");
        return false;
    }
    m_eventQueue->CreateSerialExecution(&m_serialExecution);
    if (m_serialExecution == nullptr) {
        TRACE_LINE(trace::kError, L"Could not create serial execution!");
        return false;
    }
    m_initialized = true;
    return true;
}

CWindowsServicesAction::~CWindowsServicesAction() {
    TRACE_SCOPE("CWindowsServicesAction::~CWindowsServicesAction");
    // Whatever is in flight must end before anything goes. It may sit in a wait that only an abort ends, and
    // the abort may come before its command: so it is done once more with what was still queued.
    const std::deque<ServiceChange> unfinished = m_queue.StopAndTakeAll();
    if (m_eventQueue != nullptr && m_serialExecution != nullptr) {
        m_eventQueue->DestroySerialExecution(m_serialExecution);
    }
    if (m_initialized) _Finish(unfinished);
    m_service->Uninit();
}

template <class Value>
Seen<Value> CWindowsServicesAction::_See(const std::wstring& name) {
    Seen<Value> seen;
    static_cast<void>(LookAt(*m_service, name, seen));  // a failure leaves it as it is: not usable
    return seen;
}

/// Learns what somebody else has set. False when the field can't be read.
template <class Value>
bool CWindowsServicesAction::_Judge(const std::wstring& name) {
    const Seen<Value> seen = _See<Value>(name);
    m_tracks.Visit(name, [&](ServiceTrack& track) { track.Of<Value>().Look(seen); });
    return seen.value != Value::None;
}

uint32_t CWindowsServicesAction::Note(IOptimizerActionSettings* next) {
    TRACE_SCOPE("CWindowsServicesAction::Note");
    if (!m_initialized) return kCannotWork;
    const auto* const targets =
        next != nullptr ? dynamic_cast<const WindowsServicesParams*>(next) : &m_parameters;
    if (targets == nullptr) return ERROR_INVALID_PARAMETER;
    m_tracks.Begin();
    // What somebody has set is learned while it can still be stored; Update learns it in any case. A look
    // that a command of the queue overtakes would be judged wrongly.
    const bool mayLearn = next != nullptr && m_queue.IsIdle();
    for (const ServiceRecord& wanted : targets->services) {
        _NoteService(wanted.name, next == nullptr);
        if (!mayLearn || m_parameters.Find(wanted.name) == nullptr) continue;
        _Judge<ServiceStartup>(wanted.name);
        _Judge<ServiceStatus>(wanted.name);
    }
    return 0;
}

void CWindowsServicesAction::_NoteService(const std::wstring& name, bool isFirst) {
    bool isHandedOver = false;
    const bool isNoted = m_tracks.Visit(name, [&](ServiceTrack& track) {
        // What comes back into the action on its way out keeps its note: the half-way state is nobody's wish.
        track.isLeaving = false;
        if (isFirst) isHandedOver = std::exchange(track.isHandedOver, false);
    });
    if (isNoted && !isHandedOver) return;
    ServiceTrack found;
    found.name = name;
    found.status.Note(_See<ServiceStatus>(name));
    found.startup.Note(_See<ServiceStartup>(name));
    if (!isNoted) {
        m_tracks.Add(found);
        return;
    }
    // Who set what the machine is at after an earlier run can't be told: it counts as that run's doing.
    m_tracks.Visit(name, [&](ServiceTrack& track) {
        track.status.own = found.status.own;
        track.startup.own = found.startup.own;
    });
}

/// What can't be noted isn't changed, since nobody could bring it back. The status is queued all the same.
ServiceRecord CWindowsServicesAction::_WithinNote(const ServiceRecord& wanted) {
    const ServiceRecord noted = m_tracks.RecordOf(wanted.name);
    ServiceRecord within = wanted;
    if (noted.status == ServiceStatus::None) within.status = ServiceStatus::None;
    if (noted.startup == ServiceStartup::None) within.startup = ServiceStartup::None;
    return within;
}

uint32_t CWindowsServicesAction::Start() {
    TRACE_SCOPE("CWindowsServicesAction::Start");
    if (Note(nullptr) != 0) return 0;
    for (const ServiceRecord& wanted : m_parameters.services) {
        const ServiceRecord within = _WithinNote(wanted);
        SetServiceStartup(within.name, within.startup);
        EnqueueServiceAction(within.name, within.status);
    }
    // What an earlier run noted and this profile doesn't want.
    for (const std::wstring& name : m_tracks.Names()) {
        if (m_parameters.Find(name) == nullptr) _Leave(name);
    }
    return 0;
}

uint32_t CWindowsServicesAction::Stop() {
    TRACE_SCOPE("CWindowsServicesAction::Stop");
    m_isStopped = true;
    m_queue.Stop();
    return 0;
}

/// Puts the field back unless somebody else has changed it. A command that was taken moments ago and doesn't
/// show yet would still lead away from the note.
template <class Value>
void CWindowsServicesAction::_Restore(const std::wstring& name) {
    const Seen<Value> seen = _See<Value>(name);
    Value noted = Value::None;
    m_tracks.Visit(name, [&](ServiceTrack& track) {
        FieldTrack<Value>& field = track.Of<Value>();
        const bool isOurs = field.Look(seen) == Standing::Ours;
        if (isOurs || field.own.MayMove(GetTickCount())) noted = field.noted;
    });
    if (seen.value != Value::None && noted != Value::None) _PutBackTo(name, noted);
}

template <class Value>
uint32_t CWindowsServicesAction::_RestoreAll() {
    for (const std::wstring& name : m_tracks.Names())
        _Restore<Value>(name);
    return 0;
}

uint32_t CWindowsServicesAction::Revert() {
    TRACE_SCOPE("CWindowsServicesAction::Revert");
    if (!m_tracks.HasBegun()) return 0;
    if (!m_initialized) return ERROR_GEN_FAILURE;
    m_isStopped = false;
    m_queue.Stop();
    uint32_t error = _RestoreAll<ServiceStartup>();
    if (error == 0) error = _RestoreAll<ServiceStatus>();
    if (error != 0) TRACE_LINE(trace::kError, L"RevertStartup failed");
    return error;
}

uint32_t CWindowsServicesAction::FinishRevert() {
    TRACE_SCOPE("CWindowsServicesAction::FinishRevert");
    if (!m_tracks.HasBegun()) return 0;
    return m_initialized ? _BringBack() : kCannotWork;
}

uint32_t CWindowsServicesAction::PutBack() {
    TRACE_SCOPE("CWindowsServicesAction::PutBack");
    if (!m_initialized) return kCannotWork;
    m_tracks.Load(m_parameters);
    _RestoreAll<ServiceStartup>();
    return _BringBack();
}

/// All of it is looked at once more here, so that what the serial execution hasn't done yet is no loss.
uint32_t CWindowsServicesAction::_BringBack() {
    m_queue.Stop();
    const uint32_t error =
        CServiceWayBack(*m_service, m_tracks).BringBack(m_tracks.Names(), GetTickCount(), [this] {
            return m_isStopped.load();
        });
    m_isStopped = false;
    return error;
}

/// For a service that leaves the action. Its note goes when it is back, which it may be already.
void CWindowsServicesAction::_Leave(const std::wstring& name) {
    _Restore<ServiceStartup>(name);
    if (CServiceWayBack(*m_service, m_tracks).IsBack(name)) {
        m_tracks.Remove(name);
        return;
    }
    m_tracks.Visit(name, [](ServiceTrack& track) { track.isLeaving = true; });
    _Enqueue(name, m_tracks.RecordOf(name).status, true);
}

uint32_t CWindowsServicesAction::Update(IOptimizerActionSettings* parameters) {
    TRACE_SCOPE("CWindowsServicesAction::Update");
    const auto* const next = dynamic_cast<const WindowsServicesParams*>(parameters);
    if (next == nullptr) return ERROR_INVALID_PARAMETER;
    m_queue.Stop();
    static_cast<void>(Note(parameters));
    for (const ServiceRecord& current : m_parameters.services) {
        const ServiceRecord* const wanted = next->Find(current.name);
        if (wanted == nullptr) {
            _Leave(current.name);
            continue;
        }
        const ServiceRecord within = _WithinNote(*wanted);
        if (_Judge<ServiceStartup>(current.name)) SetServiceStartup(current.name, within.startup);
        if (_Judge<ServiceStatus>(current.name)) EnqueueServiceAction(current.name, within.status);
    }
    // What left before and isn't back yet.
    for (const std::wstring& name : m_tracks.Names()) {
        if (next->Find(name) == nullptr && m_parameters.Find(name) == nullptr) _Leave(name);
    }
    for (const ServiceRecord& wanted : next->services) {
        if (m_parameters.Find(wanted.name) != nullptr) continue;
        _Judge<ServiceStartup>(wanted.name);
        _Judge<ServiceStatus>(wanted.name);
        const ServiceRecord within = _WithinNote(wanted);
        // The other way round than in Start, on purpose.
        EnqueueServiceAction(within.name, within.status);
        SetServiceStartup(within.name, within.startup);
    }
    m_parameters = *next;
    return 0;
}

IOptimizerActionSettings* CWindowsServicesAction::GetRevertParameters() {
    if (!m_tracks.HasBegun()) return nullptr;
    m_revertParameters = std::make_unique<WindowsServicesParams>(m_tracks.Records());
    return m_revertParameters.get();
}

uint32_t CWindowsServicesAction::SetRevertParameters(IOptimizerActionSettings* saved) {
    const uint32_t error = ActionWith::SetRevertParameters(saved);
    if (error == 0) m_tracks.Load(*m_revertParameters);
    return error;
}

}  // namespace optimizer
