#pragma once

#include "frame/exported_object.h"
#include "tools/optimizerctl/surroundings.h"

namespace ctl {

/// An engine of this process's own, from the libraries beside this program. One thread. Its end waits for the
/// action that runs and drops what hasn't begun.
class InProcessEngine final : public IEngineSource {
public:
    InProcessEngine() = default;
    ~InProcessEngine();
    InProcessEngine(const InProcessEngine&) = delete;
    InProcessEngine& operator=(const InProcessEngine&) = delete;

    /// Refuses while a service answers, since two engines on one machine would write the same notes. Takes no
    /// notice of the time.
    IOptimizer& Open(std::optional<uint32_t> timeoutMs) override;

private:
    optimizer::ExportedObject<IOptimizer> m_engine;
    bool m_started = false;
};

}  // namespace ctl
