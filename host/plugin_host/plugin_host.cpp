#include "host/plugin_host/plugin_host.h"

#include <windows.h>

#include "border/host_diagnostics.h"
#include "frame/module_path.h"
#include "frame/text.h"

namespace host {

using optimizer::SystemErrorText;

bool PluginHost::Start(uint32_t queueThreads, std::wstring& problem) {
    m_log.Get();
    const std::wstring library = optimizer::GetModuleFolder() + L"framework.dll";
    const uint32_t loadError = m_main.Load(library, kServMainName);
    if (loadError != ERROR_SUCCESS) {
        problem = L"The host library " + library + L" can't be loaded: " + SystemErrorText(loadError) +
                  L". Install the program again.";
        return false;
    }
    const uint32_t queueError = m_main.Get()->GetEventQueue()->Start(queueThreads);
    if (queueError != ERROR_SUCCESS) {
        problem = L"The host's threads can't be started: " + SystemErrorText(queueError) + L".";
        Stop();
        return false;
    }
    m_queueStarted = true;
    return true;
}

bool PluginHost::Load(const std::wstring& pluginList, std::wstring& problem) {
    IServMain* const main = m_main.Get();
    const uint32_t error = main->GetPluginLoader()->LoadPlugins(pluginList.c_str());
    if (error == ERROR_SUCCESS) {
        m_pluginsLoaded = true;
        return true;
    }
    auto* const diagnostics =
        static_cast<IHostDiagnostics*>(main->QueryInterface(&IHostDiagnostics::kIdentifier));
    const std::wstring told = diagnostics != nullptr ? diagnostics->LastFailure() : L"";
    problem = told.empty()
                  ? L"The plug-in list " + pluginList + L" can't be loaded: " + SystemErrorText(error) + L"."
                  : told;
    return false;
}

void PluginHost::Unload() {
    if (m_pluginsLoaded) m_main.Get()->GetPluginLoader()->UnloadPlugins();
    m_pluginsLoaded = false;
}

void PluginHost::Stop() {
    if (m_main.Get() == nullptr) return;
    // The plug-ins first: they may wait for what still runs on the queue's threads.
    Unload();
    if (m_queueStarted) m_main.Get()->GetEventQueue()->Stop();
    m_queueStarted = false;
    m_main.Release();
    m_log.Release();
}

}  // namespace host
