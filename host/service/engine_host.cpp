#include "host/service/engine_host.h"

#include <windows.h>

#include "border/host_diagnostics.h"
#include "frame/module_path.h"
#include "frame/plugin_request.h"
#include "frame/text.h"

namespace host {

namespace {

using optimizer::GetModuleFolder;
using optimizer::SystemErrorText;

constexpr uint32_t kQueueThreads = 4;
constexpr const wchar_t* kEngine = L"optimizeral";
constexpr const wchar_t* kSessionChange = L"sessionchange";

}  // namespace

std::wstring DefaultPluginList() {
    return GetModuleFolder() + L"settings\\service_plugins.xml";
}

bool EngineHost::Start(const std::wstring& pluginList, std::wstring& problem) {
    m_log.Get();
    const std::wstring library = GetModuleFolder() + L"framework.dll";
    const uint32_t loadError = m_main.Load(library, kServMainName);
    if (loadError != ERROR_SUCCESS) {
        problem = L"The host library " + library + L" can't be loaded: " + SystemErrorText(loadError) +
                  L". Install the program again.";
        return false;
    }
    const uint32_t queueError = m_main.Get()->GetEventQueue()->Start(kQueueThreads);
    if (queueError != ERROR_SUCCESS) {
        problem = L"The host's threads can't be started: " + SystemErrorText(queueError) + L".";
        Stop();
        return false;
    }
    m_queueStarted = true;
    if (!_LoadPlugins(pluginList, problem)) {
        Stop();
        return false;
    }
    return true;
}

bool EngineHost::_LoadPlugins(const std::wstring& pluginList, std::wstring& problem) {
    IServMain* const main = m_main.Get();
    const uint32_t error = main->GetPluginLoader()->LoadPlugins(pluginList.c_str());
    if (error != ERROR_SUCCESS) {
        auto* const diagnostics =
            static_cast<IHostDiagnostics*>(main->QueryInterface(&IHostDiagnostics::kIdentifier));
        const std::wstring told = diagnostics != nullptr ? diagnostics->LastFailure() : L"";
        problem = told.empty() ? L"The plug-in list " + pluginList + L" can't be loaded: " +
                                     SystemErrorText(error) + L"."
                               : told;
        return false;
    }
    m_pluginsLoaded = true;
    m_engine = optimizer::RequestPlugin<IOptimizer>(main->GetComponentManager(), kEngine);
    if (m_engine == nullptr) {
        problem = L"The plug-in list " + pluginList +
                  L" has no usable plug-in \"optimizeral\"; restore the list that came with the program.";
        return false;
    }
    const optimizer::CriticalSectionGuard guard(m_sessionLock);
    m_sessions = optimizer::RequestPlugin<ISessionChange>(main->GetComponentManager(), kSessionChange);
    return true;
}

void EngineHost::Stop() {
    IServMain* const main = m_main.Get();
    if (main == nullptr) return;
    IComponentManager* const components = main->GetComponentManager();
    {
        const optimizer::CriticalSectionGuard guard(m_sessionLock);
        if (m_sessions != nullptr) components->ReleasePlugin(kSessionChange);
        m_sessions = nullptr;
    }
    if (m_engine != nullptr) components->ReleasePlugin(kEngine);
    m_engine = nullptr;
    // The plug-ins first: the engine waits for its running change, which needs the queue's threads.
    if (m_pluginsLoaded) main->GetPluginLoader()->UnloadPlugins();
    m_pluginsLoaded = false;
    if (m_queueStarted) main->GetEventQueue()->Stop();
    m_queueStarted = false;
    m_main.Release();
    m_log.Release();
}

void EngineHost::OnSessionChange(uint32_t event, const tagWTSSESSION_NOTIFICATION* notification) {
    const optimizer::CriticalSectionGuard guard(m_sessionLock);
    if (m_sessions != nullptr) m_sessions->Notify(GetTickCount(), event, notification);
}

bool NotifyUninstall(std::wstring& problem) {
    const std::wstring path = GetModuleFolder() + L"optimizeral.dll";
    const optimizer::Library library(LoadLibraryW(path.c_str()));
    const DWORD loadError = GetLastError();
    auto* const notify =
        library ? optimizer::GetExport<uint32_t()>(library.Get(), "VxNotifyUninstall") : nullptr;
    if (notify == nullptr) {
        problem = L"The engine " + path + L" can't be loaded: " + SystemErrorText(loadError) +
                  L". Install the program again, then uninstall it.";
        return false;
    }
    const uint32_t error = notify();
    if (error == ERROR_SUCCESS) return true;
    problem = L"The engine couldn't be told of the uninstall: " + SystemErrorText(error) + L".";
    return false;
}

}  // namespace host
