#pragma once

#include "border/session_change.h"
#include "frame/callback_list.h"
#include "frame/log_binding.h"

namespace host {

/// Component "sessionchange": passes logons, logoffs and console changes on to its observers.
///
/// The host program owns the knowledge: its service control handler calls Notify, and the observers are
/// called on that thread, the first that subscribed first. Unsubscribe blocks while a notification is in
/// flight; an observer must not subscribe or unsubscribe from inside its own notification. Any thread.
class CSessionChange final : public ISessionChange {
public:
    CSessionChange();

    void* QueryInterface(const Identifier* iid) override;
    /// Needs nothing of the host: `main` may be null.
    uint32_t Init(IServMain*) override { return 0; }
    void UnInit() override {}
    uint32_t Start() override { return 0; }
    uint32_t Stop() override { return 0; }
    /// 0, 14 (ERROR_OUTOFMEMORY), 87 (ERROR_INVALID_PARAMETER) for null, or 183 (ERROR_ALREADY_EXISTS).
    uint32_t Subscribe(ISessionChangeEvents* observer) override;
    /// 0, 14, or 1168 (ERROR_NOT_FOUND).
    uint32_t Unsubscribe(ISessionChangeEvents* observer) override;
    void Notify(uint32_t time, uint32_t event, const tagWTSSESSION_NOTIFICATION* notification) override;

private:
    optimizer::trace::LogHolder m_log;
    optimizer::CallbackList<ISessionChangeEvents*> m_observers;
};

}  // namespace host
