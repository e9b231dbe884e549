#include "host/plugin_host/agent_instance.h"

namespace host {

namespace {

// Of the session's own name space.
constexpr const wchar_t* kMutexName = L"Local\\OptimizerAgent-6B1C2D53-0C5E-4B39-8B0F-17D2A9C4E6F1";
constexpr const wchar_t* kStopName = L"Local\\OptimizerAgentStop-6B1C2D53-0C5E-4B39-8B0F-17D2A9C4E6F1";
constexpr DWORD kPatienceMs = 10000;

bool IsHeld(DWORD waitResult) {
    return waitResult == WAIT_OBJECT_0 || waitResult == WAIT_ABANDONED;
}

}  // namespace

AgentInstance::AgentInstance() : m_mutex(CreateMutexW(nullptr, FALSE, kMutexName)) {
    if (!m_mutex || !IsHeld(WaitForSingleObject(m_mutex.Get(), 0))) return;
    m_held = true;
    m_stop.Reset(CreateEventW(nullptr, TRUE, FALSE, kStopName));
    // One that an agent before left signalled was not meant for this one.
    if (m_stop) ResetEvent(m_stop.Get());
}

AgentInstance::~AgentInstance() {
    if (m_held) ReleaseMutex(m_mutex.Get());
}

bool HasSessionAgent() {
    return static_cast<bool>(optimizer::KernelHandle(OpenMutexW(SYNCHRONIZE, FALSE, kMutexName)));
}

StopResult StopAgent() {
    const optimizer::KernelHandle mutex(OpenMutexW(SYNCHRONIZE, FALSE, kMutexName));
    const optimizer::KernelHandle stop(OpenEventW(EVENT_MODIFY_STATE, FALSE, kStopName));
    if (!mutex || !stop) return StopResult::NoneRuns;
    SetEvent(stop.Get());
    if (!IsHeld(WaitForSingleObject(mutex.Get(), kPatienceMs))) return StopResult::StillRuns;
    ReleaseMutex(mutex.Get());
    return StopResult::Stopped;
}

}  // namespace host
