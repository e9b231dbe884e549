#include "host/service/engine_host.h"

#include <windows.h>

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
    if (!m_plugins.Start(kQueueThreads, problem)) return false;
    m_presence.Take();
    if (!_LoadPlugins(pluginList, problem)) {
        Stop();
        return false;
    }
    return true;
}

bool EngineHost::_LoadPlugins(const std::wstring& pluginList, std::wstring& problem) {
    if (!m_plugins.Load(pluginList, problem)) return false;
    IComponentManager* const components = m_plugins.Main()->GetComponentManager();
    m_engine = optimizer::RequestPlugin<IOptimizer>(components, kEngine);
    if (m_engine == nullptr) {
        problem = L"The plug-in list " + pluginList +
                  L" has no usable plug-in \"optimizeral\"; restore the list that came with the program.";
        return false;
    }
    const optimizer::CriticalSectionGuard guard(m_sessionLock);
    m_sessions = optimizer::RequestPlugin<ISessionChange>(components, kSessionChange);
    return true;
}

void EngineHost::Stop() {
    if (m_plugins.Main() == nullptr) return;
    IComponentManager* const components = m_plugins.Main()->GetComponentManager();
    {
        const optimizer::CriticalSectionGuard guard(m_sessionLock);
        if (m_sessions != nullptr) components->ReleasePlugin(kSessionChange);
        m_sessions = nullptr;
    }
    if (m_engine != nullptr) components->ReleasePlugin(kEngine);
    m_engine = nullptr;
    m_plugins.Stop();
    m_presence.LetGo();
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
