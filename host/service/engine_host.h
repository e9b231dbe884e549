#pragma once

#include <string>

#include "border/optimizer.h"
#include "border/session_change.h"
#include "frame/critical_section.h"
#include "host/plugin_host/plugin_host.h"
#include "host/plugin_host/service_presence.h"
#include "host/settings_check/settings_lock.h"

namespace host {

/// The host with its plug-ins, in this process: the same in the service, in the console and for an uninstall.
/// One thread starts and stops it.
class EngineHost {
public:
    EngineHost() = default;
    ~EngineHost() { Stop(); }
    EngineHost(const EngineHost&) = delete;
    EngineHost& operator=(const EngineHost&) = delete;

    /// Takes the settings folder, loads framework.dll, starts its queue and loads the plug-in list. False
    /// with one sentence in `problem`; nothing stays started then. Waits five seconds for another engine in
    /// the same folder to end.
    bool Start(const std::wstring& pluginList, std::wstring& problem);
    /// Ends the plug-ins, then the queue. The profile in force stays. Blocks until a running change has given
    /// up.
    void Stop();

    IOptimizer* Engine() const { return m_engine; }
    /// Between Start and Stop.
    IComponentManager* Components() const { return m_plugins.Main()->GetComponentManager(); }
    /// Passes a session change on to whoever listens. Any thread, also while Stop runs.
    void OnSessionChange(uint32_t event, const tagWTSSESSION_NOTIFICATION* notification);

private:
    bool _TakeSettings(std::wstring& problem);
    bool _LoadPlugins(const std::wstring& pluginList, std::wstring& problem);

    SettingsLock m_settings;
    ServicePresence m_presence;
    PluginHost m_plugins;
    IOptimizer* m_engine = nullptr;
    optimizer::CCriticalSection m_sessionLock;
    ISessionChange* m_sessions GUARDED_BY(m_sessionLock) = nullptr;
};

/// The folder "settings" beside this program, with the last back-slash, and the plug-in list that ships in
/// it.
std::wstring ShippedSettingsFolder();
std::wstring DefaultPluginList();

/// Tells the engine, in whatever process it runs, that it is being uninstalled and has to put the machine
/// back when it stops. False with a sentence in `problem`.
bool NotifyUninstall(std::wstring& problem);

}  // namespace host
