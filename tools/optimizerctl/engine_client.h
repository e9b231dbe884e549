#pragma once

#include "border/optimizer_client.h"
#include "frame/exported_object.h"
#include "tools/optimizerctl/surroundings.h"

namespace ctl {

/// The running service's engine, reached by the client component of the library beside this program. One
/// thread.
class EngineClient final : public IEngineSource {
public:
    EngineClient() = default;
    ~EngineClient() { _Close(); }
    EngineClient(const EngineClient&) = delete;
    EngineClient& operator=(const EngineClient&) = delete;

    /// Tries once, which takes up to five seconds without a service, and again for as long as `timeoutMs`
    /// says.
    IOptimizer& Open(std::optional<uint32_t> timeoutMs) override;

private:
    void _Create();
    uint32_t _Connect();
    void _Close();

    optimizer::ExportedObject<IOptimizerALCommClient> m_client;
    bool m_initialised = false;
    bool m_started = false;
};

}  // namespace ctl
