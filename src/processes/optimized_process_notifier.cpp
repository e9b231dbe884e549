#include "processes/optimized_process_notifier.h"

#include <cstdlib>
#include <cwchar>
#include <utility>

#include "frame/guarded.h"
#include "frame/trace.h"
#include "frame/work_item.h"

namespace optimizer {

COptimizedProcessNotifier::~COptimizedProcessNotifier() {
    Stop();
    s_instance = nullptr;
}

void COptimizedProcessNotifier::Start() {
    TRACE_SCOPE("COptimizedProcessNotifier::Start");
    m_queue = m_main != nullptr ? m_main->GetEventQueue() : nullptr;
    if (m_queue != nullptr) m_queue->CreateSerialExecution(&m_serial);
    if (m_serial == nullptr) TRACE_LINE(trace::kError, L"Could not create serial execution!");
}

void COptimizedProcessNotifier::Stop() {
    TRACE_SCOPE("COptimizedProcessNotifier::Stop");
    if (m_serial != nullptr) m_queue->DestroySerialExecution(std::exchange(m_serial, nullptr));
}

uint32_t COptimizedProcessNotifier::Notify(const wchar_t* name, uint32_t count) {
    TRACE_SCOPE("COptimizedProcessNotifier::Notify");
    if (m_serial == nullptr) return ERROR_INVALID_HANDLE;
    return Guarded([&] {
        const Name copy(_wcsdup(name), &std::free);
        if (copy == nullptr) return uint32_t{ERROR_OUTOFMEMORY};
        using Item = EqWorkItemMember2<void, COptimizedProcessNotifier, Name, uint32_t>;
        auto* const item = new Item(this, copy, count, &COptimizedProcessNotifier::_Deliver);
        const uint32_t error =
            m_serial->Post(L"COptimizedProcessNotifier_NewOptimizedProcess", nullptr, item, 0, 0, 0);
        if (error != ERROR_SUCCESS) item->Dispose();
        return error;
    });
}

uint32_t COptimizedProcessNotifier::RegisterObserver(IOptimizedProcessesObserver* observer) {
    return m_observers.Add(observer);
}

uint32_t COptimizedProcessNotifier::UnregisterObserver(IOptimizedProcessesObserver* observer) {
    return m_observers.Remove(observer, 0);
}

void COptimizedProcessNotifier::_Deliver(Name name, uint32_t count) {
    TRACE_SCOPE("COptimizedProcessNotifier::_Deliver");
    TRACE_LINE(trace::kInformation, L"name=%s count=%d", name.get(), count);
    static_cast<void>(Guarded([&] {
        m_observers.ForEach(
            [&](IOptimizedProcessesObserver* observer) { observer->OnProcessOptimized(name.get(), count); });
        return uint32_t{ERROR_SUCCESS};
    }));
}

}  // namespace optimizer
