#pragma once

#include <optional>

#include "border/cloud.h"
#include "border/host.h"
#include "frame/log_binding.h"
#include "plugins/server_address.h"

namespace host {

/// Component "icloud": access to the product's server over HTTP. The server's address is the text "CLOUD" of
/// kind 0 in the product's configuration; nothing is sent where none is set. Any thread.
class CCloud final : public ICloud {
public:
    CCloud();

    void* QueryInterface(const Identifier* iid) override;
    /// Reads the address. 0, also without one; 6 for a missing host object.
    uint32_t Init(IServMain* main) override;
    void UnInit() override {}
    uint32_t Start() override { return 0; }
    uint32_t Stop() override { return 0; }
    void Reserved5() override {}
    void* GetInterface(const wchar_t* name) override;

private:
    void _ReadAddress(IComponentManager* components);

    optimizer::trace::LogHolder m_log;
    std::optional<ServerAddress> m_server;  // constant after Init
};

}  // namespace host
