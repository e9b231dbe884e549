#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>

#include <windows.h>

#include "border/optimizer.h"
#include "frame/critical_section.h"
#include "frame/handles.h"

namespace ctl {

enum class EventKind {
    TaskFinished,
    ProfileChanged,
    ActionsExecuted,
    ConfigChanged,
    ModuleChanged,
    ProcessOptimized,
};

struct Event {
    EventKind kind;
    std::wstring subject;  // the process of ProcessOptimized, the user of the others
    uint32_t value;        // task, profile, module on or count
    uint32_t status;       // of a task
    SYSTEMTIME time;       // of its arrival, local
};

/// Collects the engine's events from its construction on. Events come on the engine's threads; one thread
/// takes them out.
class EventInbox final : public IOptimizerEvents {
public:
    /// Throws Failure when the engine takes no observer.
    explicit EventInbox(IOptimizer& engine);
    ~EventInbox();
    EventInbox(const EventInbox&) = delete;
    EventInbox& operator=(const EventInbox&) = delete;

    /// Signalled while there is an event.
    HANDLE Signal() const { return m_signal.Get(); }
    /// The oldest event; nothing when there is none.
    std::optional<Event> Take();

    void OnTaskFinished(const wchar_t* user, const uint32_t* task, uint32_t status) override;
    void OnProfileChanged(const wchar_t* user, const profile* changed) override;
    void OnActionsExecuted(const wchar_t* user, const profile* executed) override;
    void OnProfileConfigChanged(const wchar_t* user, const profile* changed) override;
    void OnOptimizerModuleEnableChanged(const wchar_t* user, bool enabled) override;
    void OnOptimizerProcessOptimized(const wchar_t* process, uint32_t count) override;

private:
    void _Put(EventKind kind, const wchar_t* subject, uint32_t value, uint32_t status) noexcept;

    IOptimizer& m_engine;
    optimizer::KernelHandle m_signal;
    optimizer::CCriticalSection m_lock;
    std::deque<Event> m_events GUARDED_BY(m_lock);
};

}  // namespace ctl
