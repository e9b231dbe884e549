#pragma once

#include <memory>

#include "boottime/event_log_library.h"

namespace boottime {

class IWinBootEventsObserver {
public:
    /// On the event log's thread. `flags` says which of the two values are there (kHasBootTime,
    /// kHasFileTime); the others are 0.
    virtual void OnWinBootEvent(uint32_t bootTimeMs, FILETIME* written, uint32_t flags) = 0;

protected:
    ~IWinBootEventsObserver() = default;
};

/// The boot events of the system's diagnostics channel. One thread at a time. Init comes first and UnInit
/// last; the calls block for as long as the event log takes.
class CWinBootEvents final {
public:
    class Subscription;

    CWinBootEvents();
    ~CWinBootEvents();
    CWinBootEvents(const CWinBootEvents&) = delete;
    CWinBootEvents& operator=(const CWinBootEvents&) = delete;

    /// False, with nothing bound, on a system without the event log's functions.
    bool Init();
    /// Ends the subscription; no event is delivered after that.
    void UnInit();

    /// When the newest event was written; false, with the thread's last error, when there is none.
    bool GetLastBootEventTime(FILETIME* written);
    /// Replaces the subscription by one for events behind `written`. False, with the thread's last error, on
    /// failure.
    bool Subscribe(FILETIME* written, IWinBootEventsObserver* observer);

private:
    std::unique_ptr<EventLogLibrary> m_library;  // before what came from it
    std::unique_ptr<Subscription> m_subscription;
};

}  // namespace boottime
