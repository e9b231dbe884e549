#pragma once

#include "border/boot_time.h"
#include "border/load_usage.h"
#include "frame/log_binding.h"

namespace host {

/// Component "LoadUsage": how busy the machine's disks are, from the system's performance counters.
///
/// Any thread; each call has a query of its own, samples for half a second and blocks for it, or returns at
/// once where the system lacks the counter. Needs nothing of the host: `main` may be null.
class CLoadUsage final : public ILoadUsage {
public:
    CLoadUsage();

    void* QueryInterface(const Identifier* iid) override;
    uint32_t Init(IServMain*) override { return 0; }
    void UnInit() override {}
    uint32_t Start() override { return 0; }
    uint32_t Stop() override { return 0; }
    void Reserved5() override {}
    /// The least, the greatest and the mean share of the time, in percent, in which the disks had requests to
    /// work on, all physical disks together, over the samples of the call. Zeros when nothing could be
    /// sampled. 0, 87 for another kind or null, or the counters' error.
    uint32_t GetFigures(int32_t kind, void** figures, uint32_t* flags) override;

private:
    uint32_t _SampleDisks(boottime::DiskSpeed& speed);

    optimizer::trace::LogHolder m_log;
};

}  // namespace host
