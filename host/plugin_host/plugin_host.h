#pragma once

#include <cstdint>
#include <string>

#include "border/host.h"
#include "frame/exported_object.h"
#include "frame/log_binding.h"

namespace host {

/// framework.dll with its queue, and the plug-ins of one list at a time. One thread starts and stops it.
/// Failures come as false with one sentence in `problem`.
class PluginHost {
public:
    PluginHost() = default;
    ~PluginHost() { Stop(); }
    PluginHost(const PluginHost&) = delete;
    PluginHost& operator=(const PluginHost&) = delete;

    /// Nothing stays started after a failure.
    bool Start(uint32_t queueThreads, std::wstring& problem);
    /// Between Start and Stop. Nothing stays loaded after a failure.
    bool Load(const std::wstring& pluginList, std::wstring& problem);
    /// Ends the plug-ins. Does nothing when none are loaded.
    void Unload();
    void Stop();

    /// Null outside Start and Stop.
    IServMain* Main() const { return m_main.Get(); }

private:
    optimizer::trace::LogHolder m_log;
    optimizer::ExportedObject<IServMain> m_main;
    bool m_queueStarted = false;
    bool m_pluginsLoaded = false;
};

}  // namespace host
