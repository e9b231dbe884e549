#include "plugins/session_change.h"

#include <new>

#include "frame/object_factory.h"
#include "frame/trace.h"

namespace host {

namespace trace = optimizer::trace;

CSessionChange::CSessionChange() {
    m_log.Get();
}

void* CSessionChange::QueryInterface(const Identifier* iid) {
    return optimizer::AnswerFor<ISessionChange>(this, iid);
}

uint32_t CSessionChange::Subscribe(ISessionChangeEvents* observer) {
    TRACE_SCOPE("CSessionChange::Subscribe");
    if (observer == nullptr) return ERROR_INVALID_PARAMETER;
    try {
        return m_observers.Add(observer);
    } catch (const std::bad_alloc&) {
        return ERROR_OUTOFMEMORY;
    }
}

uint32_t CSessionChange::Unsubscribe(ISessionChangeEvents* observer) {
    TRACE_SCOPE("CSessionChange::Unsubscribe");
    try {
        return m_observers.Remove(observer, 0);
    } catch (const std::bad_alloc&) {
        return ERROR_OUTOFMEMORY;
    }
}

void CSessionChange::Notify(uint32_t time, uint32_t event, const tagWTSSESSION_NOTIFICATION* notification) {
    TRACE_SCOPE("CSessionChange::Notify");
    TRACE_LINE(trace::kInformation, L"time=%u event=%u", time, event);
    try {
        m_observers.ForEach(
            [&](ISessionChangeEvents* observer) { observer->OnSessionChange(time, event, notification); });
    } catch (const std::bad_alloc&) {
        TRACE_LINE(trace::kError, L"Out of memory");
    }
}

}  // namespace host
