#include "boottime/win_boot_events.h"

#include "boottime/win_boot_events_subscription.h"
#include "frame/trace.h"

namespace boottime {

CWinBootEvents::CWinBootEvents() = default;

CWinBootEvents::~CWinBootEvents() {
    UnInit();
}

bool CWinBootEvents::Init() {
    TRACE_SCOPE("CWinBootEvents::Init");
    UnInit();
    m_library = std::make_unique<EventLogLibrary>();
    if (!m_library->Bind()) m_library.reset();
    return m_library != nullptr;
}

void CWinBootEvents::UnInit() {
    TRACE_SCOPE("CWinBootEvents::UnInit");
    m_subscription.reset();
    m_library.reset();
}

bool CWinBootEvents::GetLastBootEventTime(FILETIME* written) {
    TRACE_SCOPE("CWinBootEvents::GetLastBootEventTime");
    if (m_library == nullptr) {
        SetLastError(ERROR_PROC_NOT_FOUND);
        return false;
    }
    const EventLogHandle resultSet(m_library.get(), QueryBootEvents(*m_library));
    if (!resultSet) return false;
    const EventLogHandle event(m_library.get(), NextEvent(*m_library, resultSet.Get()));
    return event && RenderTime(*m_library, event.Get(), *written);
}

bool CWinBootEvents::Subscribe(FILETIME* written, IWinBootEventsObserver* observer) {
    TRACE_SCOPE("CWinBootEvents::Subscribe");
    if (m_library == nullptr) {
        SetLastError(ERROR_PROC_NOT_FOUND);
        return false;
    }
    m_subscription = std::make_unique<Subscription>(m_library.get(), observer);
    return m_subscription->Init(written);
}

}  // namespace boottime
