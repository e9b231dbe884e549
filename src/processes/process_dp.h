#pragma once

#include <memory>

#include "border/host.h"
#include "border/process_provider.h"

namespace optimizer {

class IProcessDPObserver {
public:
    /// On the feed's serial execution, in the order of the notifications. The record has a name.
    virtual void OnProcessNotify(const _PROCESS_NOTIF* record) = 0;

protected:
    ~IProcessDPObserver() = default;
};

/// A copy of a notification together with its name. The work item shares in it, so that an item that the host
/// drops takes its copy along.
using ProcessNotification = std::shared_ptr<_PROCESS_NOTIF>;

/// Feeds the snapshot with starts and ends of processes. Owned by CSnapshot, which alone calls Init and
/// Uninit. The host's thread only copies and posts; the observer is called on the feed's serial execution.
class CProcessDP final {
public:
    CProcessDP(IServMain* main, IProcessDPObserver* observer) : m_main(main), m_observer(observer) {}
    CProcessDP(const CProcessDP&) = delete;
    CProcessDP& operator=(const CProcessDP&) = delete;

    /// Binds to the host. After a failure Uninit takes back what was bound.
    bool Init();
    /// Blocks until the notification in flight and the observer's call have ended; drops the others.
    void Uninit();

    /// For the provider, which may be late: a call for a feed that isn't bound any more, or is gone, does
    /// nothing. Always 0.
    static uint32_t OnProcessNotify(const _PROCESS_NOTIF* record, void* context);
    /// On the serial execution.
    void ProcessNotifyWorkItem(ProcessNotification record);

private:
    void _OnProcessNotify(const _PROCESS_NOTIF* record);

    IServMain* m_main;
    IProcessDPObserver* m_observer;
    IProcessProvider* m_processDp = nullptr;
    IEventQueue* m_queue = nullptr;
    ISerialExecution* m_serial = nullptr;
};
static_assert(sizeof(CProcessDP) == 40);

}  // namespace optimizer
