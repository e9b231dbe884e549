#include "host/service/engine_host.h"

#include <windows.h>

#include "frame/module_path.h"
#include "frame/plugin_request.h"
#include "frame/text.h"
#include "frame/trace.h"
#include "host/service/pipe_names.h"
#include "host/settings_check/settings_check.h"

namespace host {

namespace {

using optimizer::GetModuleFolder;
using optimizer::SystemErrorText;

constexpr uint32_t kQueueThreads = 4;
constexpr uint32_t kSettingsPatienceMs = 5000;  // for a command with an engine of its own
constexpr const wchar_t* kEngine = L"optimizeral";
constexpr const wchar_t* kSessionChange = L"sessionchange";

}  // namespace

std::wstring ShippedSettingsFolder() {
    return GetModuleFolder() + L"settings\\";
}

std::wstring DefaultPluginList() {
    return ShippedSettingsFolder() + L"service_plugins.xml";
}

bool EngineHost::Start(const std::wstring& pluginList, std::wstring& problem) {
    if (!m_plugins.Start(kQueueThreads, problem)) return false;
    if (!_TakeSettings(problem)) {
        Stop();
        return false;
    }
    m_presence.Take();
    if (!_LoadPlugins(pluginList, problem)) {
        Stop();
        return false;
    }
    return true;
}

/// Only another engine keeps this one from starting, or what hides whether there is one: with a folder that
/// can't be written it starts where it can, as it does with other settings that are wrong.
bool EngineHost::_TakeSettings(std::wstring& problem) {
    TRACE_SCOPE("EngineHost::_TakeSettings");
    const std::wstring folder = FindSettingsFolder();
    const uint32_t error = m_settings.Take(folder, kSettingsPatienceMs);
    if (error == ERROR_SUCCESS) return true;
    if (error == ERROR_SHARING_VIOLATION) {
        problem = L"Another engine works with the settings in " + folder +
                  L": the service, a console or \"optimizerctl --in-process\"; end it first.";
        return false;
    }
    if (error == ERROR_CANT_ACCESS_FILE) {
        problem = SettingsLock::InTheWay(folder) + L".";
        return false;
    }
    TRACE_LINE(optimizer::trace::kError, L"The settings folder can't be locked: 0x%x", error);
    return true;
}

bool EngineHost::_LoadPlugins(const std::wstring& pluginList, std::wstring& problem) {
    if (!m_plugins.Load(pluginList, problem)) {
        if (const std::wstring held = HeldPipesSentence(); !held.empty()) problem += L" " + held;
        return false;
    }
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
    m_settings.LetGo();
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
