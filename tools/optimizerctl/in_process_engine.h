#pragma once

#include "frame/exported_object.h"
#include "host/settings_check/settings_lock.h"
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

    /// Refuses while a service answers or another engine has the settings folder, since two of them would
    /// write the same notes, and where they can't be written. Takes no notice of the time.
    IOptimizer& Open(std::optional<uint32_t> timeoutMs) override;

private:
    void _TakeSettings();

    host::SettingsLock m_settings;  // let go of last, after the engine's end
    optimizer::ExportedObject<IOptimizer> m_engine;
    bool m_started = false;
};

}  // namespace ctl
