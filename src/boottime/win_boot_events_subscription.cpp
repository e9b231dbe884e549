#include "boottime/win_boot_events_subscription.h"

#include "boottime/decisions.h"
#include "frame/guarded.h"
#include "frame/trace.h"

namespace boottime {

namespace trace = optimizer::trace;

bool CWinBootEvents::Subscription::Init(const FILETIME* written) {
    TRACE_SCOPE("Subscription::Init");
    m_resultSet.Reset(QueryBootEvents(*m_library));
    if (!m_resultSet) {
        const DWORD error = GetLastError();
        TRACE_LINE(trace::kError, L"OpenEventSet failed 0x%x", error);
        SetLastError(error);
        return false;
    }
    const EventLogHandle bookmark(m_library, _MakeBookmark(*written));
    m_subscription.Reset(m_library->subscribe(nullptr, nullptr, kBootChannel, kBootQuery, bookmark.Get(),
                                              this, &Subscription::_OnEvent, EvtSubscribeStartAfterBookmark));
    if (!m_subscription) {
        const DWORD error = GetLastError();
        TRACE_LINE(trace::kError, L"EvtSubscribe failed 0x%x", error);
        SetLastError(error);
        return false;
    }
    return true;
}

/// A bookmark on the newest event that isn't newer than `written`; null when there is none.
EVT_HANDLE CWinBootEvents::Subscription::_MakeBookmark(const FILETIME& written) {
    TRACE_SCOPE("Subscription::_MakeBookmark");
    for (;;) {
        const EventLogHandle event(m_library, NextEvent(*m_library, m_resultSet.Get()));
        FILETIME time = {};
        if (!event || !RenderTime(*m_library, event.Get(), time)) return nullptr;
        // The high words alone, on purpose: times within some seven minutes count as one, so that an event
        // that came in since the newest was asked for isn't delivered as a new one.
        if (time.dwHighDateTime > written.dwHighDateTime) continue;
        const EVT_HANDLE bookmark = m_library->createBookmark(nullptr);
        if (bookmark == nullptr || m_library->updateBookmark(bookmark, event.Get())) return bookmark;
        m_library->close(bookmark);
        return nullptr;
    }
}

DWORD WINAPI CWinBootEvents::Subscription::_OnEvent(EVT_SUBSCRIBE_NOTIFY_ACTION action, void* context,
                                                    EVT_HANDLE event) {
    if (action != EvtSubscribeActionDeliver || context == nullptr) return 0;
    static_cast<void>(optimizer::Guarded([&] {
        static_cast<Subscription*>(context)->_Deliver(event);
        return uint32_t{0};
    }));
    return 0;
}

void CWinBootEvents::Subscription::_Deliver(EVT_HANDLE event) {
    TRACE_SCOPE("Subscription::_Deliver");
    FILETIME written = {};
    uint32_t bootTimeMs = 0;
    uint32_t flags = 0;
    if (RenderTime(*m_library, event, written)) flags |= kHasFileTime;
    if (RenderBootTime(*m_library, event, bootTimeMs)) flags |= kHasBootTime;
    m_observer->OnWinBootEvent(bootTimeMs, &written, flags);
}

}  // namespace boottime
