#pragma once

#include "border/host.h"
#include "border/optimizer.h"
#include "border/run_report.h"
#include "frame/deleting_destructor.h"
#include "frame/exported_object.h"

namespace optimizer {

/// Component "optimizerinproc": the engine for a process that has no service host. Init starts a private host
/// in this process, from the libraries beside this one, and UnInit ends it; Start and Stop have nothing to
/// do. Freed without a destructor.
///
/// The operations are the engine's own, on any thread; before Init and after UnInit those with a result give
/// 31 (ERROR_GEN_FAILURE). Init and UnInit come from one thread, with no operation in flight. UnInit blocks
/// until running work has ended, which the host's queue gives a while before it is cancelled; what waits for
/// its turn is dropped.
class COptimizerInProc final : public WithDeletingDestructor<COptimizerInProc, IOptimizer>,
                               public IRunReport,
                               public INotesReport {
public:
    COptimizerInProc() = default;
    COptimizerInProc(const COptimizerInProc&) = delete;
    COptimizerInProc& operator=(const COptimizerInProc&) = delete;

    void* QueryInterface(const Identifier* iid) override;
    /// `main` isn't used: this component makes its own host. 0, or why the host can't be had; nothing is held
    /// after an error.
    uint32_t Init(IServMain* main) override;
    void UnInit() override;
    uint32_t Start() override { return 0; }
    uint32_t Stop() override { return 0; }

    uint32_t StartTask(const int32_t* task) override;
    void CancelTask(const int32_t* task) override;
    uint32_t SetProfile(const profile* wanted) override;
    uint32_t GetProfile(profile* active) override;
    uint32_t SetProfileConfig(const profile* which, vx::String* config) override;
    uint32_t GetProfileConfig(const profile* which, vx::String* config) override;
    uint32_t SetModuleEnable(bool enable) override;
    uint32_t GetModuleEnable(bool* enable) override;
    uint32_t AddEventsObserver(IOptimizerEvents* observer) override;
    uint32_t RemoveEventsObserver(IOptimizerEvents* observer) override;
    uint32_t GetLastRun(vx::String* report) override;
    uint32_t GetNotes(vx::String* report) override;

private:
    uint32_t _Init();
    uint32_t _TakeEngine();
    template <class... Parameters>
    uint32_t _Forward(uint32_t (IOptimizer::*operation)(Parameters...), Parameters... arguments);

    IOptimizer* m_engine = nullptr;
    ExportedObject<IServMain> m_main;
};

}  // namespace optimizer
