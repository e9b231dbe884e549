#include "processes/process_dp.h"

#include <cstdlib>
#include <cwchar>
#include <new>
#include <set>
#include <utility>

#include "frame/guarded.h"
#include "frame/plugin_request.h"
#include "frame/slim_lock.h"
#include "frame/trace.h"
#include "frame/work_item.h"

namespace optimizer {

namespace {

constexpr const wchar_t* kProcessDp = L"processdp";

ProcessNotification Copy(const _PROCESS_NOTIF& record) {
    const auto end = [](_PROCESS_NOTIF* copy) {
        std::free(const_cast<wchar_t*>(copy->name));
        delete copy;
    };
    auto* const bare = new _PROCESS_NOTIF(record);
    bare->name = nullptr;  // the copy frees its name
    ProcessNotification copy(bare, end);
    copy->name = _wcsdup(record.name);
    if (copy->name == nullptr) throw std::bad_alloc();
    return copy;
}

/// The feeds that are bound. Whether a provider waits for its calls in flight when a registration is taken
/// back is the host's affair, and one that doesn't calls with the address of a feed that is gone.
struct BoundFeeds {
    CSlimLock lock;  // held over a notification, so that whoever takes a feed out waits for it
    std::set<const CProcessDP*> feeds GUARDED_BY(lock);
};
BoundFeeds g_bound;

}  // namespace

bool CProcessDP::Init() {
    TRACE_SCOPE("CProcessDP::Init");
    if (m_main == nullptr) return false;
    if (m_queue == nullptr) m_queue = m_main->GetEventQueue();
    m_processDp = RequestPlugin<IProcessProvider>(m_main->GetComponentManager(), kProcessDp);
    if (m_processDp == nullptr) return false;
    if (m_queue != nullptr) m_queue->CreateSerialExecution(&m_serial);
    // Without a serial execution every notification would be dropped: better not to ask for them.
    if (m_serial != nullptr) {
        {
            const LockGuard guard(g_bound.lock);
            g_bound.feeds.insert(this);
        }
        if (m_processDp->RegisterProcessNotifyCallback(&CProcessDP::OnProcessNotify, this, 0)) return true;
        TRACE_LINE(trace::kError, L"RegisterProcessNotifyCallback failed");
    }
    m_main->GetComponentManager()->ReleasePlugin(kProcessDp);
    m_processDp = nullptr;
    return false;
}

void CProcessDP::Uninit() {
    TRACE_SCOPE("CProcessDP::Uninit");
    {
        // Before anything goes that a notification uses, and not held over the provider's own wait.
        const LockGuard guard(g_bound.lock);
        g_bound.feeds.erase(this);
    }
    if (m_processDp != nullptr &&
        !m_processDp->UnregisterProcessNotifyCallback(&CProcessDP::OnProcessNotify, this)) {
        TRACE_LINE(trace::kWarning, L"Could not unregister callback from processdp");
    }
    if (m_serial != nullptr) m_queue->DestroySerialExecution(std::exchange(m_serial, nullptr));
    if (std::exchange(m_processDp, nullptr) == nullptr) return;
    if (IComponentManager* const components = m_main->GetComponentManager()) {
        components->ReleasePlugin(kProcessDp);
    }
}

uint32_t CProcessDP::OnProcessNotify(const _PROCESS_NOTIF* record, void* context) {
    TRACE_SCOPE("CProcessDP::OnProcessNotify");
    if (context == nullptr) {
        TRACE_LINE(trace::kError, L"NULL context pointer");
        return 0;
    }
    static_cast<void>(Guarded([&] {
        auto* const feed = static_cast<CProcessDP*>(context);
        const LockGuard guard(g_bound.lock);
        if (g_bound.feeds.contains(feed)) feed->_OnProcessNotify(record);
        return uint32_t{0};
    }));
    return 0;
}

void CProcessDP::_OnProcessNotify(const _PROCESS_NOTIF* record) {
    TRACE_SCOPE("CProcessDP::OnProcessNotify");
    if (m_serial == nullptr || record == nullptr) return;
    if (record->name == nullptr) {
        TRACE_LINE(trace::kInformation, L"pid=%d name=NULL flags=%d", record->pid, record->flags);
        return;
    }
    TRACE_LINE(trace::kInformation, L"pid=%d name=%s flags=%d", record->pid, record->name, record->flags);
    using Item = EqWorkItemMember1<void, CProcessDP, ProcessNotification>;
    auto* const item = new Item(this, Copy(*record), &CProcessDP::ProcessNotifyWorkItem);
    if (m_serial->Post(L"OptimizerWindowProcess_OnProcessNotify", nullptr, item, 0, 0, 0) != 0)
        item->Dispose();
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): a work item's argument comes by value
void CProcessDP::ProcessNotifyWorkItem(ProcessNotification record) {
    TRACE_SCOPE("CProcessDP::ProcessNotifyWorkItem");
    if (m_observer == nullptr) return;
    static_cast<void>(Guarded([&] {
        m_observer->OnProcessNotify(record.get());
        return uint32_t{0};
    }));
}

}  // namespace optimizer
