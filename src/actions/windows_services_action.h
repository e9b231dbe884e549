#pragma once

#include <atomic>
#include <deque>
#include <memory>
#include <string>

#include "actions/action_with.h"
#include "actions/iwindows_service.h"
#include "actions/service_queue.h"
#include "actions/service_tracks.h"
#include "actions/windows_services_params.h"
#include "border/host.h"
#include "frame/trace.h"

namespace optimizer {

/// Brings services to a wanted run status and start type, and back. Start types change on the caller's
/// thread. Changes of run status are slow: they are queued and carried out on the action's own serial
/// execution; only FinishRevert and PutBack wait for them, and do what is left on the caller's thread.
///
/// A service that an update or a start no longer wants keeps its note until it is seen to be back. Its way
/// back is queued too; the observer of the note hears of its end on the serial execution.
///
/// The destructor ends the serial execution and finishes what is still queued on its own thread, so that a
/// status put back by Revert is never lost. It gives services half a minute in all to arrive, and blocks for
/// as long as the Service Control Manager takes to answer. The observer of the note doesn't hear of it.
class CWindowsServicesAction final : public ActionWith<WindowsServicesParams> {
public:
    /// `servMain` outlives the action. With a null one, or when a part can't be had, Note and PutBack give 31
    /// (ERROR_GEN_FAILURE) and Start does nothing.
    CWindowsServicesAction(WindowsServicesParams parameters, IServMain* servMain);
    ~CWindowsServicesAction() override;

    /// What doesn't exist, or can't be read, is noted without a value and left alone from then on.
    uint32_t Note(IOptimizerActionSettings* next) override;
    uint32_t Start() override;
    /// Drops the queued changes and blocks until the one in flight has given up its wait, mostly under a
    /// second. Any thread, also while another operation runs: FinishRevert and PutBack then end soon with
    /// 1223 (ERROR_CANCELLED).
    uint32_t Stop() override;
    /// 0, or 31 after a failed construction. A service that somebody else has changed since stays as it is.
    uint32_t Revert() override;
    /// 0, 31, 1223, or the error of the first service that couldn't be brought back; the others are. Gives
    /// services half a minute in all to arrive.
    uint32_t FinishRevert() override;
    /// As FinishRevert, whoever set what there is.
    uint32_t PutBack() override;
    uint32_t Update(IOptimizerActionSettings* parameters) override;
    /// A copy: the notes themselves change on the serial execution as well.
    IOptimizerActionSettings* GetRevertParameters() override;
    uint32_t SetRevertParameters(IOptimizerActionSettings* saved) override;
    const wchar_t* GetName() override { return L"WindowsServices"; }
    void ObserveNote(INoteObserver* observer) override { m_observer = observer; }

    // What the operations above are made of.
    bool SetServiceStartup(const std::wstring& name, ServiceStartup startup);
    void EnqueueServiceAction(const std::wstring& name, ServiceStatus status);
    /// Works until the queue is empty. On the serial execution.
    void ProcessServicesActionsQueue();
    bool TransitionService(const std::wstring& name, ServiceStatus from, ServiceStatus to);

private:
    bool _Init();
    void _Finish(const std::deque<ServiceChange>& changes);

    void _Enqueue(const std::wstring& name, ServiceStatus status, bool isWayBack);
    bool _ChangeInto(const trace::LogScope& traceScope, const ServiceChange& change);
    bool _IsUnderWay(const ServiceChange& change);

    void _NoteService(const std::wstring& name, bool isFirst);
    ServiceRecord _WithinNote(const ServiceRecord& wanted);
    uint32_t _BringBack();
    void _Leave(const std::wstring& name);

    // Each for one field, which the type tells: the status or the startup.
    template <class Value>
    Seen<Value> _See(const std::wstring& name);
    template <class Value>
    bool _Judge(const std::wstring& name);
    template <class Value>
    uint32_t _RestoreAll();
    template <class Value>
    void _Restore(const std::wstring& name);
    void _PutBackTo(const std::wstring& name, ServiceStatus status) { _Enqueue(name, status, true); }
    void _PutBackTo(const std::wstring& name, ServiceStartup startup) { SetServiceStartup(name, startup); }

    static constexpr uint32_t kCannotWork = 31;  // ERROR_GEN_FAILURE

    std::unique_ptr<IWindowsService> m_service;
    bool m_initialized = false;
    IServMain* m_servMain;
    IEventQueue* m_eventQueue = nullptr;
    ISerialExecution* m_serialExecution = nullptr;
    INoteObserver* m_observer = nullptr;
    bool m_isEnding = false;                // changes only when the serial execution has ended
    std::atomic<bool> m_isStopped = false;  // somebody stopped the way back
    CServiceTracks m_tracks;
    CServiceQueue m_queue;
};

}  // namespace optimizer
