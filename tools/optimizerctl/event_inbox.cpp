#include "tools/optimizerctl/event_inbox.h"

#include <new>
#include <utility>

#include "tools/optimizerctl/failure.h"

namespace ctl {

EventInbox::EventInbox(IOptimizer& engine)
    : m_engine(engine), m_signal(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    Require(m_engine.AddEventsObserver(this), L"The engine's events can't be heard");
}

EventInbox::~EventInbox() {
    m_engine.RemoveEventsObserver(this);
}

std::optional<Event> EventInbox::Take() {
    const optimizer::CriticalSectionGuard guard(m_lock);
    if (m_events.empty()) return std::nullopt;
    Event event = m_events.front();
    m_events.pop_front();
    if (m_events.empty()) ResetEvent(m_signal.Get());
    return event;
}

void EventInbox::_Put(EventKind kind, const wchar_t* subject, uint32_t value, uint32_t status) noexcept {
    try {
        Event event = {kind, subject != nullptr ? subject : L"", value, status, {}};
        GetLocalTime(&event.time);
        const optimizer::CriticalSectionGuard guard(m_lock);
        m_events.push_back(std::move(event));
        SetEvent(m_signal.Get());
    } catch (const std::bad_alloc&) {
        // the event is lost
    }
}

void EventInbox::OnTaskFinished(const wchar_t* user, const uint32_t* task, uint32_t status) {
    _Put(EventKind::TaskFinished, user, *task, status);
}

void EventInbox::OnProfileChanged(const wchar_t* user, const profile* changed) {
    _Put(EventKind::ProfileChanged, user, static_cast<uint32_t>(*changed), 0);
}

void EventInbox::OnActionsExecuted(const wchar_t* user, const profile* executed) {
    _Put(EventKind::ActionsExecuted, user, static_cast<uint32_t>(*executed), 0);
}

void EventInbox::OnProfileConfigChanged(const wchar_t* user, const profile* changed) {
    _Put(EventKind::ConfigChanged, user, static_cast<uint32_t>(*changed), 0);
}

void EventInbox::OnOptimizerModuleEnableChanged(const wchar_t* user, bool enabled) {
    _Put(EventKind::ModuleChanged, user, enabled ? 1 : 0, 0);
}

void EventInbox::OnOptimizerProcessOptimized(const wchar_t* process, uint32_t count) {
    _Put(EventKind::ProcessOptimized, process, count, 0);
}

}  // namespace ctl
