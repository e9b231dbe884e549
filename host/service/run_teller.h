#pragma once

#include <string>
#include <vector>

#include <windows.h>

#include "border/optimizer.h"
#include "frame/critical_section.h"
#include "frame/handles.h"

namespace host {

struct WorkTraits {
    using Type = PTP_WORK;
    static Type Invalid() noexcept { return nullptr; }
    static void Close(Type work) { CloseThreadpoolWork(work); }
};

/// Tells on standard error what the engine's runs didn't get done, each as it ends, the restore of the start
/// first. One thread makes and ends it, while the engine is there.
class RunTeller final : public IOptimizerEvents {
public:
    explicit RunTeller(IOptimizer& engine);
    /// Blocks until what is being told has been.
    ~RunTeller();
    RunTeller(const RunTeller&) = delete;
    RunTeller& operator=(const RunTeller&) = delete;

    /// Tells what hasn't been told yet. False when something of the last run is to be mended.
    bool TellLast();

    void OnTaskFinished(const wchar_t*, const uint32_t*, uint32_t) override {}
    void OnProfileChanged(const wchar_t*, const profile*) override {}
    void OnActionsExecuted(const wchar_t* user, const profile* executed) override;
    void OnProfileConfigChanged(const wchar_t*, const profile*) override {}
    void OnOptimizerModuleEnableChanged(const wchar_t*, bool) override {}
    void OnOptimizerProcessOptimized(const wchar_t*, uint32_t) override {}

private:
    static void CALLBACK _OnWork(PTP_CALLBACK_INSTANCE instance, void* context, PTP_WORK work);

    IOptimizer& m_engine;
    optimizer::UniqueHandle<WorkTraits> m_work;
    optimizer::CCriticalSection m_lock;  // held over the question too, which takes the engine's locks
    std::vector<std::wstring> m_told GUARDED_BY(m_lock);  // of the last run
};

}  // namespace host
