#pragma once

#include <memory>
#include <thread>
#include <vector>

#include "border/process_provider.h"
#include "frame/critical_section.h"
#include "frame/handles.h"
#include "frame/log_binding.h"
#include "plugins/process_list.h"

namespace host {

/// Component "processdp": tells of starts and ends of processes by comparing the system's list of now with
/// the one before, on a thread of its own, every 250 ms or as "settings\processdp.json" beside this library
/// says ("periodMs", from 10 to 10000). Nothing is looked at while nobody is registered.
///
/// A registration begins with a look of its own: it is told of what starts or ends from then on, whatever was
/// told to others. Of what changed in one period the ends come before the starts. A process that starts and
/// ends between two looks is told to nobody.
///
/// Functions are called with the lock held; they may register and unregister, and must not wait for another
/// thread that does.
class CProcessProvider final : public IProcessProvider {
public:
    CProcessProvider();
    ~CProcessProvider();

    void* QueryInterface(const Identifier* iid) override;
    /// Needs nothing of the host: `main` may be null.
    uint32_t Init(IServMain* main) override;
    void UnInit() override;
    uint32_t Start() override;
    /// Blocks until the thread has ended. Registrations stay and hear of nothing until the next Start, which
    /// tells them what changed meanwhile.
    uint32_t Stop() override;
    bool RegisterProcessNotifyCallback(ProcessNotifyFunction* function, void* context,
                                       uint64_t reserved) override;
    bool UnregisterProcessNotifyCallback(ProcessNotifyFunction* function, void* context) override;

private:
    struct Registration {
        ProcessNotifyFunction* function;
        void* context;
        std::shared_ptr<const ProcessList> seen;
    };
    /// What one registration is to be told.
    struct News {
        Registration registration;
        RunningProcesses ended;
        RunningProcesses started;
    };

    void _Run();
    void _Compare() REQUIRES(m_lock);
    void _Look() REQUIRES(m_lock);
    void _Tell(const Registration& registration, const RunningProcess& running, uint32_t flags)
        REQUIRES(m_lock);
    std::vector<Registration>::iterator _Find(ProcessNotifyFunction* function, void* context)
        REQUIRES(m_lock);

    optimizer::trace::LogHolder m_log;
    uint32_t m_periodMs;
    optimizer::KernelHandle m_stop;
    optimizer::KernelHandle m_registered;  // wakes the thread when it has something to do
    std::thread m_thread;
    optimizer::CCriticalSection m_lock;
    std::shared_ptr<const ProcessList> m_last GUARDED_BY(m_lock);
    std::vector<Registration> m_registrations GUARDED_BY(m_lock);
};

}  // namespace host
