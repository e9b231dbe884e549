#pragma once

#include <optional>

#include "border/optimizer_client.h"
#include "frame/exported_object.h"
#include "tools/optimizerctl/surroundings.h"

namespace ctl {

/// One of the service's components, reached by the client component of the library beside this program. One
/// thread.
class ServiceClient final {
public:
    /// The client component's name, its interface, whose first base is IServPlugin, and its pipe.
    ServiceClient(const wchar_t* component, const Identifier& iid, const wchar_t* pipe)
        : m_component(component), m_iid(iid), m_pipe(pipe) {}
    ~ServiceClient() { _Close(); }
    ServiceClient(const ServiceClient&) = delete;
    ServiceClient& operator=(const ServiceClient&) = delete;

    /// Gives the connected object, the same one at each call. Tries once, which takes up to five seconds
    /// without a service, and again for as long as `timeoutMs` says. Throws Failure.
    IServPlugin& Open(std::optional<uint32_t> timeoutMs);

private:
    void _Create();
    uint32_t _Connect();
    void _RefuseStranger();
    void _Close();

    const wchar_t* const m_component;
    const Identifier m_iid;
    const wchar_t* const m_pipe;
    optimizer::ExportedObject<IServPlugin> m_client;
    bool m_initialised = false;
    bool m_started = false;
};

/// The running service's engine.
class EngineClient final : public IEngineSource {
public:
    IOptimizer& Open(std::optional<uint32_t> timeoutMs) override {
        return static_cast<IOptimizerALCommClient&>(m_client.Open(timeoutMs));
    }

private:
    ServiceClient m_client{L"optimizercommclient", IOptimizerALCommClient::kIdentifier, L"optimizerpipe"};
};

/// The running service's measurement of the boot.
class BootClient final : public IBootSource {
public:
    boottime::IBootTimeCommClient& Open(std::optional<uint32_t> timeoutMs) override {
        return static_cast<boottime::IBootTimeCommClient&>(m_client.Open(timeoutMs));
    }

private:
    ServiceClient m_client{L"boottimecommclient", boottime::IBootTimeCommClient::kIdentifier,
                           boottime::kBootTimePipe};
};

}  // namespace ctl
