#include "actions/windows_services_action.h"

#include <utility>

#include "actions/windows_service.h"
#include "frame/trace.h"
#include "frame/work_item.h"

namespace optimizer {

namespace {

constexpr uint32_t kStepLimitMs = 10;
constexpr DWORD kAbortPeriodMs = 10;
constexpr DWORD kPendingPatienceMs = 30000;
constexpr DWORD kPendingPollMs = 100;
constexpr DWORD kWrapMarginMs = 5000;

/// A limit that makes every wait for a service state end at its first look: its deadline lies half-way
/// between now and the wrap of the tick count, and a wait goes on only past its deadline. Right before the
/// wrap there is no such deadline, so that it is let pass.
uint32_t LimitThatNeverWaits() {
    const uint32_t leftMs = 0xFFFFFFFF - GetTickCount();
    if (leftMs < kWrapMarginMs) Sleep(leftMs + 1);
    return (0xFFFFFFFF - GetTickCount()) / 2;
}

bool IsPending(uint32_t state) {
    return state == SERVICE_START_PENDING || state == SERVICE_STOP_PENDING ||
           state == SERVICE_CONTINUE_PENDING || state == SERVICE_PAUSE_PENDING;
}

}  // namespace

CWindowsServicesAction::CWindowsServicesAction(WindowsServicesParams parameters, IServMain* servMain)
    : ActionWith(std::move(parameters)),
      m_service(std::make_unique<CWindowsService>()),
      m_servMain(servMain) {
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
    std::deque<StatusChange> unfinished;
    {
        CriticalSectionGuard guard(m_queueLock);
        unfinished.swap(m_queue);
        if (m_changeInFlight) unfinished.push_front(*m_changeInFlight);
    }
    _AbortChangeInFlight();
    if (m_eventQueue != nullptr && m_serialExecution != nullptr) {
        m_eventQueue->DestroySerialExecution(m_serialExecution);
    }
    if (m_hasReverted) {
        // A restore that met a service on its way elsewhere was refused; all of it is checked once more.
        unfinished.clear();
        for (const ServiceRecord& record : m_revertParameters->services) {
            if (record.status != ServiceStatus::None) unfinished.push_back({0, record.name, record.status});
        }
    }
    if (m_initialized) _Finish(unfinished);
    m_service->Uninit();
}

/// Carries changes out on this thread, with nobody left to abort a wait. A service that is still on its way
/// to a state would refuse the command, so that it is given time to arrive.
void CWindowsServicesAction::_Finish(const std::deque<StatusChange>& changes) {
    TRACE_SCOPE("CWindowsServicesAction::_Finish");
    m_isEnding = true;
    const DWORD startMs = GetTickCount();
    for (const StatusChange& change : changes) {
        uint32_t state = 0;
        while (m_service->GetServiceStatus(change.name.c_str(), &state) == 0 && IsPending(state) &&
               GetTickCount() - startMs < kPendingPatienceMs) {
            Sleep(kPendingPollMs);
        }
        {
            CriticalSectionGuard guard(m_queueLock);
            m_queue.push_back(change);
        }
        ProcessServicesActionsQueue();
    }
}

bool CWindowsServicesAction::SetServiceStartup(const std::wstring& name, ServiceStartup startup) {
    TRACE_SCOPE("CWindowsServicesAction::SetServiceStartup");
    TRACE_LINE(trace::kInformation, L"%s %d", name.c_str(), static_cast<int>(startup));
    if (startup == ServiceStartup::None) return true;
    const std::optional<uint32_t> type = TypeOfStartup(startup);
    return type && m_service->SetStartup(name.c_str(), *type) == 0;
}

void CWindowsServicesAction::EnqueueServiceAction(const std::wstring& name, ServiceStatus status) {
    TRACE_SCOPE("CWindowsServicesAction::EnqueueServiceAction");
    TRACE_LINE(trace::kInformation, L"%s %d", name.c_str(), static_cast<int>(status));
    {
        CriticalSectionGuard guard(m_queueLock);
        m_queue.push_back({.number = ++m_changeCount, .name = name, .status = status});
    }
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

CWindowsServicesAction::InFlightMark::~InFlightMark() {
    CriticalSectionGuard guard(m_action.m_queueLock);
    m_action.m_changeInFlight.reset();
}

std::optional<CWindowsServicesAction::StatusChange> CWindowsServicesAction::_TakeChange() {
    CriticalSectionGuard guard(m_queueLock);
    m_changeInFlight.reset();
    if (m_queue.empty()) return std::nullopt;
    m_changeInFlight = std::move(m_queue.front());
    m_queue.pop_front();
    return m_changeInFlight;
}

std::optional<CWindowsServicesAction::StatusChange> CWindowsServicesAction::_ChangeInFlight() {
    CriticalSectionGuard guard(m_queueLock);
    return m_changeInFlight;
}

void CWindowsServicesAction::ProcessServicesActionsQueue() {
    TRACE_SCOPE("CWindowsServicesAction::ProcessServicesActionsQueue");
    const InFlightMark mark(*this);
    while (const std::optional<StatusChange> change = _TakeChange()) {
        const wchar_t* const name = change->name.c_str();
        TRACE_LINE(trace::kInformation, L"%s %d", name, static_cast<int>(change->status));
        ServiceStatus current = ServiceStatus::None;
        if (!_Read(change->name, current)) {
            TRACE_LINE(trace::kWarning, L"GetServiceStatus %s failed", name);
        } else if (current == change->status) {
            TRACE_LINE(trace::kInformation, L"No change for service %s", name);
        } else if (!TransitionService(change->name, current, change->status)) {
            TRACE_LINE(trace::kWarning, L"TransitionService %s from %d to %d failed", name,
                       static_cast<int>(current), static_cast<int>(change->status));
        }
    }
}

bool CWindowsServicesAction::TransitionService(const std::wstring& name, ServiceStatus from,
                                               ServiceStatus to) {
    TRACE_SCOPE("CWindowsServicesAction::TransitionService");
    for (const ServiceStep step : StepsBetween(from, to)) {
        if (step == nullptr) break;
        const uint32_t limitMs = m_isEnding ? LimitThatNeverWaits() : kStepLimitMs;
        // A step that gives 0 ends the list and counts as the failure; any other result goes on. It stays so.
        if ((*m_service.*step)(name.c_str(), limitMs) == 0) return false;
    }
    return true;
}

bool CWindowsServicesAction::_Read(const std::wstring& name, ServiceStatus& status) {
    uint32_t state = 0;
    if (m_service->GetServiceStatus(name.c_str(), &state) != 0) return false;
    const std::optional<ServiceStatus> read = StatusOfState(state);
    status = read.value_or(status);
    return read.has_value();
}

bool CWindowsServicesAction::_Read(const std::wstring& name, ServiceStartup& startup) {
    uint32_t type = 0;
    if (m_service->GetStartup(name.c_str(), &type) != 0) return false;
    const std::optional<ServiceStartup> read = StartupOfType(type);
    startup = read.value_or(startup);
    return read.has_value();
}

ServiceRecord CWindowsServicesAction::_Snapshot(const std::wstring& name) {
    ServiceRecord record;
    record.name = name;
    _Read(name, record.status);
    _Read(name, record.startup);
    return record;
}

ServiceRecord* CWindowsServicesAction::_FindRevertRecord(const std::wstring& name) {
    return m_revertParameters != nullptr ? m_revertParameters->Find(name) : nullptr;
}

uint32_t CWindowsServicesAction::Start() {
    TRACE_SCOPE("CWindowsServicesAction::Start");
    if (!m_initialized) return 0;
    m_hasReverted = false;
    if (m_revertParameters == nullptr) m_revertParameters = std::make_unique<WindowsServicesParams>();
    // Values that an earlier run saved may lack a service that the profile has got since.
    for (const ServiceRecord& wanted : m_parameters.services) {
        if (_FindRevertRecord(wanted.name) == nullptr) {
            m_revertParameters->services.push_back(_Snapshot(wanted.name));
        }
    }
    for (const ServiceRecord& wanted : m_parameters.services) {
        SetServiceStartup(wanted.name, wanted.startup);
        EnqueueServiceAction(wanted.name, wanted.status);
    }
    return 0;
}

uint32_t CWindowsServicesAction::Stop() {
    TRACE_SCOPE("CWindowsServicesAction::Stop");
    {
        CriticalSectionGuard guard(m_queueLock);
        m_queue.clear();
    }
    _AbortChangeInFlight();
    return 0;
}

void CWindowsServicesAction::_AbortChangeInFlight() {
    CriticalSectionGuard guard(m_abortLock);
    const std::optional<StatusChange> change = _ChangeInFlight();
    m_service->AbortOperations();
    if (!change) return;
    // Between two calls of the change the service object has nothing to abort; were the change left there, it
    // could still give its command after the caller has read the service.
    for (auto now = _ChangeInFlight(); now && now->number == change->number; now = _ChangeInFlight()) {
        Sleep(kAbortPeriodMs);
        m_service->AbortOperations();
    }
}

template <class Value>
uint32_t CWindowsServicesAction::_RestoreAll(Value ServiceRecord::*field) {
    for (ServiceRecord& record : m_revertParameters->services) {
        Value current = Value::None;
        if (!_Read(record.name, current) || current == record.*field) continue;
        const ServiceRecord* const wanted = m_parameters.Find(record.name);
        if (wanted != nullptr && wanted->*field != current) {
            record.*field = current;  // somebody else changed it after the profile did: it stays
        } else {
            _Apply(record.name, record.*field);
        }
    }
    return 0;
}

uint32_t CWindowsServicesAction::Revert() {
    TRACE_SCOPE("CWindowsServicesAction::Revert");
    if (m_revertParameters == nullptr) return 0;
    if (!m_initialized) return ERROR_GEN_FAILURE;
    Stop();
    uint32_t error = _RestoreAll(&ServiceRecord::startup);
    if (error == 0) error = _RestoreAll(&ServiceRecord::status);
    m_hasReverted = true;
    if (error != 0) TRACE_LINE(trace::kError, L"RevertStartup failed");
    return error;
}

/// For a service that stays in the action.
template <class Value>
void CWindowsServicesAction::_MoveTo(const ServiceRecord& wanted, const ServiceRecord& current,
                                     Value ServiceRecord::*field) {
    Value found = Value::None;
    if (!_Read(current.name, found)) return;
    _Apply(current.name, wanted.*field);
    ServiceRecord* const record = _FindRevertRecord(current.name);
    // What isn't as the profile set it was moved by the user, who gets it back.
    if (found != current.*field && record != nullptr) record->*field = found;
}

/// For a service that leaves the action: it goes back only if it still is as the profile set it.
template <class Value>
void CWindowsServicesAction::_RestoreUntouched(const ServiceRecord& current, Value ServiceRecord::*field) {
    Value found = Value::None;
    if (!_Read(current.name, found) || found != current.*field) return;
    const ServiceRecord* const record = _FindRevertRecord(current.name);
    if (record != nullptr) _Apply(current.name, record->*field);
}

uint32_t CWindowsServicesAction::Update(IOptimizerActionSettings* parameters) {
    TRACE_SCOPE("CWindowsServicesAction::Update");
    const auto* const wantedParameters = dynamic_cast<const WindowsServicesParams*>(parameters);
    if (wantedParameters == nullptr) return ERROR_INVALID_PARAMETER;
    m_hasReverted = false;
    Stop();
    for (const ServiceRecord& current : m_parameters.services) {
        if (const ServiceRecord* const wanted = wantedParameters->Find(current.name)) {
            _MoveTo(*wanted, current, &ServiceRecord::startup);
            _MoveTo(*wanted, current, &ServiceRecord::status);
        } else {
            _RestoreUntouched(current, &ServiceRecord::startup);
            _RestoreUntouched(current, &ServiceRecord::status);
            if (m_revertParameters != nullptr) m_revertParameters->Remove(current.name);
        }
    }
    for (const ServiceRecord& wanted : wantedParameters->services) {
        if (m_parameters.Find(wanted.name) != nullptr) continue;
        if (m_revertParameters == nullptr) m_revertParameters = std::make_unique<WindowsServicesParams>();
        if (_FindRevertRecord(wanted.name) == nullptr) {
            m_revertParameters->services.push_back(_Snapshot(wanted.name));
        }
        // The other way round than in Start, on purpose.
        EnqueueServiceAction(wanted.name, wanted.status);
        SetServiceStartup(wanted.name, wanted.startup);
    }
    m_parameters = *wantedParameters;
    return 0;
}

}  // namespace optimizer
