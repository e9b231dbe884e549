#pragma once

#include "border/host.h"
#include "border/host_diagnostics.h"
#include "frame/log_binding.h"
#include "framework/component_manager.h"
#include "framework/event_queue.h"
#include "framework/plugin_loader.h"

namespace host {

/// The host's main object: a queue, a component manager and a loader of its own. A process may have several.
/// Whoever creates it stops the queue and unloads the plug-ins; the destructor does what was left out, in
/// this order, so that no thread runs a library's code when the library goes.
class CServMain final : public IServMain, public IHostDiagnostics {
public:
    CServMain();
    ~CServMain();
    CServMain(const CServMain&) = delete;
    CServMain& operator=(const CServMain&) = delete;

    /// Answers for IVxBaseInterface, IServMain and IHostDiagnostics.
    void* QueryInterface(const Identifier* iid) override;
    IComponentManager* GetComponentManager() override { return &m_manager; }
    IPluginLoader* GetPluginLoader() override { return &m_loader; }
    IEventQueue* GetEventQueue() override { return &m_queue; }
    const wchar_t* LastFailure() override { return m_loader.LastFailure(); }

private:
    optimizer::trace::LogHolder m_log;  // declared first: the others trace while they end
    CEventQueue m_queue;
    CComponentManager m_manager{*this};
    CPluginLoader m_loader{m_manager};
};

}  // namespace host
