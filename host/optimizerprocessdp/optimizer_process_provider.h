#pragma once

#include <string>
#include <thread>

#include "border/host.h"
#include "border/optimizer_process_provider.h"
#include "frame/callback_list.h"
#include "frame/critical_section.h"
#include "frame/handles.h"
#include "frame/log_binding.h"
#include "optimizerprocessdp/application_lists.h"

namespace host {

/// Component "optimizerprocessdp": which applications belong to which profile, from "applications.json" in
/// the settings folder. A thread of its own watches the folder; what it finds changed reaches the observers
/// as entries added and removed, in lower case as the engine knows its processes, and then as a changed list,
/// since an entry without a product answers for more applications than its own. A file that can't be read or
/// is broken is traced and leaves the lists as they were; without a file they are empty.
///
/// Observers are called on that thread, outside the lock of the lists. Unregistering blocks while one is
/// called. Any thread.
class COptimizerProcessProvider final : public IOptimizerProcessDP {
public:
    using profile = optimizer::profiles::profile;

    COptimizerProcessProvider();
    ~COptimizerProcessProvider();

    void* QueryInterface(const Identifier* iid) override;
    /// Takes the settings folder from "productinfo" and reads the lists.
    uint32_t Init(IServMain* main) override;
    void UnInit() override {}
    uint32_t Start() override;
    /// Blocks until the thread has ended.
    uint32_t Stop() override;
    void Reserved5() override {}
    void Reserved6() override {}
    void Reserved7() override {}
    void Reserved8() override {}
    /// 0, or 87 (ERROR_INVALID_PARAMETER) for an unknown list or a null argument.
    uint32_t IsIncluded(const ProcessListKind* list, const vx::String* name, const vx::String* product,
                        bool* result) override;
    void Reserved10() override {}
    uint32_t RegisterDetailsEvents(IOptimizerProcessDPDetailsEvents* observer) override;
    uint32_t RegisterListEvents(IOptimizerProcessDPEvents* observer) override;
    uint32_t UnregisterDetailsEvents(IOptimizerProcessDPDetailsEvents* observer) override;
    uint32_t UnregisterListEvents(IOptimizerProcessDPEvents* observer) override;

private:
    struct Change;

    void _Run();
    bool _Read();
    void _Take(ApplicationLists fresh);
    void _Tell(Change& change);

    optimizer::trace::LogHolder m_log;
    std::wstring m_folder;
    std::wstring m_failure;  // the last one told; only touched by Init and the thread
    optimizer::KernelHandle m_stop;
    std::thread m_thread;
    optimizer::CallbackList<IOptimizerProcessDPDetailsEvents*> m_detailsObservers;
    optimizer::CallbackList<IOptimizerProcessDPEvents*> m_listObservers;
    optimizer::CCriticalSection m_lock;
    ApplicationLists m_lists GUARDED_BY(m_lock);
};

}  // namespace host
