#include "processes/windows_processes_action.h"

#include <utility>
#include <vector>

#include "frame/guarded.h"
#include "frame/trace.h"
#include "frame/work_item.h"
#include "processes/optimized_process_notifier.h"
#include "processes/windows_process.h"

namespace optimizer {

namespace {

void PutBackPriority(uint32_t pid) {
    TRACE_SCOPE("CWindowsProcessesAction::PutBackPriority");
    TRACE_LINE(trace::kInformation, L"Set priority pid=%d 0x%x", pid, NORMAL_PRIORITY_CLASS);
    if (WindowsProcess::SetPriority(pid, NORMAL_PRIORITY_CLASS)) return;
    TRACE_LINE(trace::kWarning, L"Failed SetPriority for pid=%d priority=0x%x", pid, NORMAL_PRIORITY_CLASS);
}

}  // namespace

CWindowsProcessesAction::CWindowsProcessesAction(WindowsProcessesParams parameters, IServMain* main)
    : m_parameters(std::move(parameters)),
      m_main(main),
      m_snapshot(std::make_unique<CSnapshot>(main, this)),
      m_optimizerProcesses(std::make_unique<COptimizerProcesses>(main, this)),
      m_profileMonitor(std::make_unique<CProfileMonitor>(main, this)),
      m_running(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    TRACE_SCOPE("CWindowsProcessesAction::CWindowsProcessesAction");
    m_profileMonitor->Start();
}

CWindowsProcessesAction::~CWindowsProcessesAction() {
    TRACE_SCOPE("CWindowsProcessesAction::~CWindowsProcessesAction");
    m_profileMonitor->Stop();
    if (_IsRunning()) Stop();
    _EndSerial();  // without the system's event there is no mark, and yet work in flight
    m_optimizerProcesses.reset();
    m_snapshot.reset();
    m_profileMonitor.reset();
}

bool CWindowsProcessesAction::_IsRunning() const {
    return WaitForSingleObject(m_running.Get(), 0) == WAIT_OBJECT_0;
}

uint32_t CWindowsProcessesAction::Start() {
    TRACE_SCOPE("CWindowsProcessesAction::Start");
    if (m_starting != 0 || _IsRunning()) return 0;
    m_starting.exchange(1);
    if (m_main == nullptr) return 0;  // the flag stays set: nothing will ever run here
    const uint32_t error = Guarded([this] { return _Bind(), uint32_t{ERROR_SUCCESS}; });
    // Whoever waits in Stop must get through also after a failure; it takes back what was bound.
    if (error != ERROR_SUCCESS) SetEvent(m_running.Get());
    m_starting.exchange(0);
    return error;
}

void CWindowsProcessesAction::_Bind() {
    if (m_eventQueue == nullptr) m_eventQueue = m_main->GetEventQueue();
    if (m_eventQueue != nullptr) {
        CriticalSectionGuard guard(m_serialLock);
        m_eventQueue->CreateSerialExecution(&m_serial);
    }
    m_optimizerProcesses->Init();
    m_snapshot->Start();
    // In one go with the mark: a change of profile in between would empty the queue and leave it so.
    CriticalSectionGuard guard(m_lock);
    m_snapshot->GetProcesses(m_queue);
    _QueueProcessQueue();
    SetEvent(m_running.Get());
}

uint32_t CWindowsProcessesAction::Stop() {
    TRACE_SCOPE("CWindowsProcessesAction::Stop");
    if (m_starting == 0 && !_IsRunning()) return 0;
    WaitForSingleObject(m_running.Get(), INFINITE);
    _Forget();  // what was raised stays so
    m_snapshot->Stop();
    m_optimizerProcesses->Uninit();
    _EndSerial();
    // Once more: what was in flight until here may have left something, and a process id that is remembered
    // beyond this could be another process's by the next start.
    CriticalSectionGuard guard(m_lock);
    _Forget();
    ResetEvent(m_running.Get());
    return 0;
}

void CWindowsProcessesAction::_Forget() {
    CriticalSectionGuard guard(m_lock);
    m_queue.clear();
    m_raised.clear();
}

void CWindowsProcessesAction::_EndSerial() {
    ISerialExecution* serial = nullptr;
    {
        CriticalSectionGuard guard(m_serialLock);
        serial = std::exchange(m_serial, nullptr);
    }
    if (serial != nullptr) m_eventQueue->DestroySerialExecution(serial);
}

uint32_t CWindowsProcessesAction::Update(IOptimizerActionSettings*) {
    TRACE_SCOPE("CWindowsProcessesAction::Update");
    return _IsRunning() ? 0 : Start();
}

uint32_t CWindowsProcessesAction::Revert() {
    TRACE_SCOPE("CWindowsProcessesAction::Revert");
    CriticalSectionGuard guard(m_lock);
    _RevertProcesses();
    return 0;
}

/// The pids stay in the set: they leave it with the process's end, or when an answer
/// says that their application isn't included.
void CWindowsProcessesAction::_RevertProcesses() {
    TRACE_SCOPE("CWindowsProcessesAction::RevertProcesses");
    for (const uint32_t pid : m_raised)
        PutBackPriority(pid);
}

void CWindowsProcessesAction::_QueueProcessQueue() {
    auto* const item =
        new EqWorkItemMember0<void, CWindowsProcessesAction>(this, &CWindowsProcessesAction::ProcessQueue);
    CriticalSectionGuard guard(m_serialLock);
    const bool posted = m_serial != nullptr && m_serial->Post(L"CWindowsProcessesAction_ProcessQueue",
                                                              nullptr, item, 0, 0, 0) == ERROR_SUCCESS;
    if (!posted) item->Dispose();
}

void CWindowsProcessesAction::OnProfileChanged(const profile* next) {
    TRACE_SCOPE("CWindowsProcessesAction::OnProfileChanged");
    CriticalSectionGuard guard(m_lock);
    TRACE_LINE(trace::kInformation, L"crt=%d next=%d", m_profile, *next);
    if (*next == m_profile) return;
    m_profile = *next;
    _RevertProcesses();
    m_queue.clear();
    m_optimizerProcesses->SetCurrentProfile(next);
    if (!_IsRunning()) return;
    m_snapshot->GetProcesses(m_queue);
    _QueueProcessQueue();
}

void CWindowsProcessesAction::OnSnapshotNewProcess(const wchar_t* name, const wchar_t* product, int32_t pid) {
    TRACE_SCOPE("CWindowsProcessesAction::OnSnapshotNewProcess");
    TRACE_LINE(trace::kInformation, L"%s %s %d", name, product, pid);
    {
        CriticalSectionGuard guard(m_lock);
        m_queue.emplace_back(name, product);
    }
    _QueueProcessQueue();
}

void CWindowsProcessesAction::OnSnapshotProcessEnd(const wchar_t*, const wchar_t*, int32_t pid) {
    TRACE_SCOPE("CWindowsProcessesAction::OnSnapshotProcessEnd");
    CriticalSectionGuard guard(m_lock);
    m_raised.erase(static_cast<uint32_t>(pid));
}

void CWindowsProcessesAction::OnOptimizerProcessesChanged() {
    TRACE_SCOPE("CWindowsProcessesAction::OnOptimizerProcessesChanged");
    {
        CriticalSectionGuard guard(m_lock);
        m_snapshot->GetProcesses(m_queue);
    }
    _QueueProcessQueue();
}

void CWindowsProcessesAction::ProcessQueue() {
    TRACE_SCOPE("CWindowsProcessesAction::ProcessQueue");
    SnapshotKey key;
    profile current = profile::Disabled;
    while (_TakeKey(key, current)) {
        TRACE_LINE(trace::kInformation, L"Check include process %s %s", key.first.c_str(),
                   key.second.c_str());
        if (m_optimizerProcesses->GetStatus(key.first, key.second)) {
            _Raise(key, current);
        } else {
            _PutBack(key);
        }
    }
}

bool CWindowsProcessesAction::_TakeKey(SnapshotKey& key, profile& current) {
    CriticalSectionGuard guard(m_lock);
    if (m_queue.empty()) return false;
    key = std::move(m_queue.front());
    m_queue.pop_front();
    current = m_profile;
    return true;
}

void CWindowsProcessesAction::_Raise(const SnapshotKey& key, profile answeredFor) {
    TRACE_SCOPE("CWindowsProcessesAction::_Raise");
    CriticalSectionGuard guard(m_lock);
    if (m_profile != answeredFor) return;  // the answer belongs to a profile that is over
    std::vector<uint32_t> pids;
    m_snapshot->GetProcessIds(key, pids);
    // The line names the normal class although the one above it is set; readers of the log know it so.
    TRACE_LINE(trace::kInformation, L"Set priority 0x%x %s", NORMAL_PRIORITY_CLASS, key.first.c_str());
    // Noted first, so that nothing is raised that can't be put back. Also those that can't be raised: a later
    // way back does no harm.
    m_raised.insert(pids.begin(), pids.end());
    for (const uint32_t pid : pids)
        WindowsProcess::SetPriority(pid, ABOVE_NORMAL_PRIORITY_CLASS);
    if (IOptimizedProcessNotifier* const notifier = COptimizedProcessNotifier::Instance()) {
        notifier->Notify(key.first.c_str(), static_cast<uint32_t>(pids.size()));
    }
}

void CWindowsProcessesAction::_PutBack(const SnapshotKey& key) {
    TRACE_SCOPE("CWindowsProcessesAction::_PutBack");
    TRACE_LINE(trace::kInformation, L"not included, check if must revert");
    CriticalSectionGuard guard(m_lock);
    std::vector<uint32_t> pids;
    m_snapshot->GetProcessIds(key, pids);
    for (const uint32_t pid : pids) {
        if (m_raised.erase(pid) != 0) PutBackPriority(pid);
    }
}

}  // namespace optimizer
