#pragma once

#include "boottime/win_boot_events.h"

namespace boottime {

/// One subscription to the boot events. Owned by CWinBootEvents, which frees the library after it.
class CWinBootEvents::Subscription final {
public:
    Subscription(const EventLogLibrary* library, IWinBootEventsObserver* observer)
        : m_library(library), m_observer(observer), m_resultSet(library), m_subscription(library) {}
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;

    /// False, with the thread's last error, on failure. An empty log is one: there is nothing to start
    /// behind.
    bool Init(const FILETIME* written);

private:
    static DWORD WINAPI _OnEvent(EVT_SUBSCRIBE_NOTIFY_ACTION action, void* context, EVT_HANDLE event);
    void _Deliver(EVT_HANDLE event);
    EVT_HANDLE _MakeBookmark(const FILETIME& written);

    const EventLogLibrary* m_library;
    IWinBootEventsObserver* m_observer;
    EventLogHandle m_resultSet;
    EventLogHandle m_subscription;  // last, so that it ends before what its events touch
};

}  // namespace boottime
