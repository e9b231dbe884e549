#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "actions/action_with.h"
#include "actions/iwindows_service.h"
#include "actions/windows_services_params.h"
#include "border/host.h"
#include "frame/critical_section.h"

namespace optimizer {

/// Brings services to a wanted run status and start type, and back. Start types change on the caller's
/// thread. Changes of run status are slow: they are queued and carried out on the action's own serial
/// execution; nobody waits for them. The destructor ends the serial execution and finishes what is still
/// queued on its own thread, so that a status put back by Revert is never lost: it blocks for as long as the
/// Service Control Manager takes to answer.
class CWindowsServicesAction final : public ActionWith<WindowsServicesParams> {
public:
    /// `servMain` outlives the action. With a null one, or when a part can't be had, Start does nothing.
    CWindowsServicesAction(WindowsServicesParams parameters, IServMain* servMain);
    ~CWindowsServicesAction() override;

    uint32_t Start() override;
    /// Drops the queued changes and blocks until the one in flight has given up its wait, mostly under a
    /// second. Any thread, also while another operation runs.
    uint32_t Stop() override;
    /// 0, or 31 (ERROR_GEN_FAILURE) after a failed construction. A service that somebody else has changed
    /// since stays as it is.
    uint32_t Revert() override;
    uint32_t Update(IOptimizerActionSettings* parameters) override;
    const wchar_t* GetName() override { return L"WindowsServices"; }
    uint32_t PutBack() override { return m_initialized ? ActionWith::PutBack() : kCannotWork; }

    // What the operations above are made of.
    bool SetServiceStartup(const std::wstring& name, ServiceStartup startup);
    void EnqueueServiceAction(const std::wstring& name, ServiceStatus status);
    /// Works until the queue is empty. On the serial execution, and in the destructor.
    void ProcessServicesActionsQueue();
    bool TransitionService(const std::wstring& name, ServiceStatus from, ServiceStatus to);

private:
    struct StatusChange {
        uint64_t number;
        std::wstring name;
        ServiceStatus status;
    };

    /// Ends the mark of the change in flight with the pass over the queue, also when that ends in an
    /// exception.
    class InFlightMark {
    public:
        explicit InFlightMark(CWindowsServicesAction& action) : m_action(action) {}
        ~InFlightMark();
        InFlightMark(const InFlightMark&) = delete;
        InFlightMark& operator=(const InFlightMark&) = delete;

    private:
        CWindowsServicesAction& m_action;
    };

    bool _Init();
    void _Finish(const std::deque<StatusChange>& changes);
    void _AbortChangeInFlight();
    std::optional<StatusChange> _TakeChange();
    std::optional<StatusChange> _ChangeInFlight();

    // False when the service can't be read or its value isn't usable.
    bool _Read(const std::wstring& name, ServiceStatus& status);
    bool _Read(const std::wstring& name, ServiceStartup& startup);
    void _Apply(const std::wstring& name, ServiceStatus status) { EnqueueServiceAction(name, status); }
    void _Apply(const std::wstring& name, ServiceStartup startup) { SetServiceStartup(name, startup); }

    ServiceRecord _Snapshot(const std::wstring& name);
    ServiceRecord* _FindRevertRecord(const std::wstring& name);

    // Each for one field of the records: its status or its startup.
    template <class Value>
    uint32_t _RestoreAll(Value ServiceRecord::*field);
    template <class Value>
    void _MoveTo(const ServiceRecord& wanted, const ServiceRecord& current, Value ServiceRecord::*field);
    template <class Value>
    void _RestoreUntouched(const ServiceRecord& current, Value ServiceRecord::*field);

    static constexpr uint32_t kCannotWork = 31;  // ERROR_GEN_FAILURE

    std::unique_ptr<IWindowsService> m_service;
    bool m_initialized = false;
    IServMain* m_servMain;
    IEventQueue* m_eventQueue = nullptr;
    ISerialExecution* m_serialExecution = nullptr;
    bool m_hasReverted = false;  // the last operation was a Revert
    bool m_isEnding = false;     // changes only when the serial execution has ended

    CCriticalSection m_queueLock;                  // never held across a call to a service
    std::deque<StatusChange> m_queue;              // guarded by m_queueLock
    std::optional<StatusChange> m_changeInFlight;  // guarded by m_queueLock
    uint64_t m_changeCount = 0;                    // guarded by m_queueLock

    CCriticalSection m_abortLock;  // one abort at a time; taken before m_queueLock
};

}  // namespace optimizer
