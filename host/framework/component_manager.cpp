#include "framework/component_manager.h"

#include <new>
#include <string_view>

#include <shlwapi.h>

#include "frame/errors.h"
#include "frame/module_path.h"
#include "frame/text.h"
#include "frame/trace.h"

namespace host {

using optimizer::CriticalSectionGuard;
using optimizer::CSlimLock;

namespace trace = optimizer::trace;

namespace {

using TableGuard = optimizer::LockGuard<CSlimLock>;

std::wstring ResolveLibrary(const std::wstring& library) {
    return PathIsRelativeW(library.c_str()) ? optimizer::GetModuleFolder() + library : library;
}

}  // namespace

CComponentManager::Plugin::Plugin(const PluginListEntry& entry)
    : name(entry.name), path(ResolveLibrary(entry.library)), startup(entry.startup) {}

uint32_t CComponentManager::GetPlugin(const wchar_t* name, const Identifier* iid, void** out) {
    TRACE_SCOPE("CComponentManager::GetPlugin");
    if (out == nullptr) return ERROR_INVALID_PARAMETER;
    *out = nullptr;
    if (name == nullptr || iid == nullptr) return ERROR_INVALID_PARAMETER;

    Plugin* plugin = nullptr;
    uint32_t error = _Acquire(name, plugin);
    if (error == ERROR_SUCCESS) {
        *out = plugin->object.Get()->QueryInterface(iid);
        TableGuard guard(m_tableLock);
        --m_queries;
        m_settled.WakeAll();
        if (*out != nullptr) return ERROR_SUCCESS;
        --plugin->references;
        error = optimizer::kErrorNoInterface;
    }
    TRACE_LINE(trace::kWarning, L"Plug-in %s can't be had. Error: %u", name, error);
    return error;
}

uint32_t CComponentManager::_Acquire(const wchar_t* name, Plugin*& out) {
    {
        TableGuard guard(m_tableLock);
        const auto found = m_plugins.find(std::wstring_view(name));
        if (found == m_plugins.end()) return ERROR_NOT_FOUND;
        out = &found->second;
        if (_TakeIfServed(*out)) return ERROR_SUCCESS;
        if (out->startup == PluginStartup::Off) return ERROR_SERVICE_DISABLED;
        if (m_phase == Phase::Unloading) return ERROR_SHUTDOWN_IN_PROGRESS;
        ++m_creations;
    }
    const uint32_t error = _BringUp(*out);
    TableGuard guard(m_tableLock);
    --m_creations;
    m_settled.WakeAll();
    if (error != ERROR_SUCCESS) return error;
    return _TakeIfServed(*out) ? ERROR_SUCCESS : ERROR_NOT_READY;
}

bool CComponentManager::_TakeIfServed(Plugin& plugin) {
    if (plugin.state != PluginState::Starting && plugin.state != PluginState::Running) return false;
    ++plugin.references;
    ++m_queries;
    return true;
}

void CComponentManager::ReleasePlugin(const wchar_t* name) {
    TRACE_SCOPE("CComponentManager::ReleasePlugin");
    if (name == nullptr) return;
    {
        TableGuard guard(m_tableLock);
        const auto found = m_plugins.find(std::wstring_view(name));
        if (found != m_plugins.end() && found->second.references != 0) {
            --found->second.references;
            return;
        }
    }
    TRACE_LINE(trace::kWarning, L"Plug-in %s is released without a request", name);
}

/// Creates, initialises and starts the plug-in, unless another thread has done so meanwhile.
uint32_t CComponentManager::_BringUp(Plugin& plugin) {
    {
        CriticalSectionGuard creation(m_creationLock);
        uint32_t error = _BeginCreation(plugin);
        if (error == ERROR_ALREADY_EXISTS) return ERROR_SUCCESS;
        if (error == ERROR_SUCCESS) error = _Create(plugin);
        if (error != ERROR_SUCCESS) return error;
    }
    return _Start(plugin);
}

/// 183 when the plug-in is there.
uint32_t CComponentManager::_BeginCreation(Plugin& plugin) {
    TableGuard guard(m_tableLock);
    switch (plugin.state) {
        case PluginState::Starting:
        case PluginState::Running:
            return ERROR_ALREADY_EXISTS;
        case PluginState::Creating:  // by this thread, which holds the creation lock
            return ERROR_CIRCULAR_DEPENDENCY;
        case PluginState::Ending:
            return ERROR_NOT_READY;
        case PluginState::Absent:
            break;
    }
    if (m_phase == Phase::Unloading) return ERROR_SHUTDOWN_IN_PROGRESS;
    plugin.state = PluginState::Creating;
    plugin.creator = GetCurrentThreadId();
    if (m_lastFailure.thread == plugin.creator) m_lastFailure = {};
    return ERROR_SUCCESS;
}

uint32_t CComponentManager::_Create(Plugin& plugin) {
    uint32_t error = ERROR_SUCCESS;
    const wchar_t* const trouble = _TryCreate(plugin, error);
    if (error == ERROR_SUCCESS) {
        _SetState(plugin, PluginState::Starting);
        return error;
    }
    _NoteFailure(plugin, error, trouble);
    _GiveUp(plugin);  // a failed Init has called UnInit on itself
    return error;
}

/// Returns what can't be done.
const wchar_t* CComponentManager::_TryCreate(Plugin& plugin, uint32_t& error) {
    if (plugin.object.Get() == nullptr) {
        error = plugin.object.LoadCode(plugin.path);
        if (error != ERROR_SUCCESS) return L"can't be loaded";
        try {
            error = plugin.object.Create(plugin.path, plugin.name);
        } catch (const std::bad_alloc&) {
            error = ERROR_OUTOFMEMORY;
        }
        if (error != ERROR_SUCCESS) return L"can't be created";
    }
    error = plugin.object.Get()->Init(&m_main);
    return L"can't be initialised";
}

uint32_t CComponentManager::_Start(Plugin& plugin) {
    const uint32_t error = plugin.object.Get()->Start();
    if (error == ERROR_SUCCESS) {
        TableGuard guard(m_tableLock);
        plugin.state = PluginState::Running;
        m_started.insert(m_started.begin(), &plugin);  // never allocates: Load made room for all
        m_settled.WakeAll();
        return error;
    }
    _NoteFailure(plugin, error, L"can't be started");
    _SetState(plugin, PluginState::Ending);
    plugin.object.Get()->UnInit();
    _GiveUp(plugin);
    return error;
}

/// Takes a plug-in back to where a request begins. An object that others took during its Start stays in
/// memory until Unload, so that their pointers stay good, and is used again.
void CComponentManager::_GiveUp(Plugin& plugin) {
    bool isHeld = false;
    {
        TableGuard guard(m_tableLock);
        isHeld = plugin.references != 0;
    }
    if (!isHeld) plugin.object.Destroy();
    _SetState(plugin, PluginState::Absent);
}

void CComponentManager::_NoteFailure(const Plugin& plugin, uint32_t error, const wchar_t* trouble) {
    TRACE_SCOPE("CComponentManager::_NoteFailure");
    try {
        std::wstring text =
            L"the plug-in \"" + plugin.name + L"\" of " + plugin.path + L" " + trouble + L": ";
        const std::wstring systemText = optimizer::SystemErrorText(error);
        const DWORD thread = GetCurrentThreadId();
        {
            TableGuard guard(m_tableLock);
            const bool isCause = m_lastFailure.thread == thread && m_lastFailure.error == error;
            text += isCause ? m_lastFailure.text : systemText;
            m_lastFailure = {thread, error, text};
        }
        TRACE_LINE(trace::kError, L"%s", text.c_str());
    } catch (const std::bad_alloc&) {
        TRACE_LINE(trace::kError, L"%s %s: %u", plugin.name.c_str(), trouble, error);
    }
}

std::wstring CComponentManager::_FailureSentence(uint32_t error) {
    TableGuard guard(m_tableLock);
    if (m_lastFailure.error != error) return optimizer::SystemErrorText(error) + L".";
    std::wstring sentence = m_lastFailure.text + L".";
    sentence[0] = L'T';
    return sentence;
}

void CComponentManager::_SetState(Plugin& plugin, PluginState state) {
    TableGuard guard(m_tableLock);
    plugin.state = state;
    m_settled.WakeAll();
}

uint32_t CComponentManager::Load(const std::vector<PluginListEntry>& list, std::wstring& failure) {
    TRACE_SCOPE("CComponentManager::Load");
    PluginMap plugins;
    for (const PluginListEntry& entry : list)
        plugins.try_emplace(entry.name, entry);
    std::vector<Plugin*> started;
    started.reserve(list.size());
    {
        TableGuard guard(m_tableLock);
        if (m_phase != Phase::Empty) {
            failure = L"Another plug-in list is loaded already.";
            return ERROR_ALREADY_INITIALIZED;
        }
        m_phase = Phase::Loading;
        m_plugins.swap(plugins);
        m_started.swap(started);
    }
    uint32_t error = ERROR_SUCCESS;
    for (const PluginListEntry& entry : list) {
        if (entry.startup != PluginStartup::AtLoad) continue;
        error = _BringUpAtLoad(_Listed().find(entry.name)->second);
        if (error != ERROR_SUCCESS) break;
    }
    {
        TableGuard guard(m_tableLock);
        m_phase = error == ERROR_SUCCESS ? Phase::Loaded : Phase::Unloading;
    }
    if (error == ERROR_SUCCESS) return error;
    _UnloadAll();
    failure = _FailureSentence(error);
    return error;
}

/// Also waits for another thread that starts the plug-in for a request of its own.
uint32_t CComponentManager::_BringUpAtLoad(Plugin& plugin) {
    const uint32_t error = _BringUp(plugin);
    if (error != ERROR_SUCCESS) return error;
    const TableGuard guard(m_tableLock);
    while (plugin.state == PluginState::Starting || plugin.state == PluginState::Ending)
        m_settled.Wait(m_tableLock);
    if (plugin.state == PluginState::Running) return ERROR_SUCCESS;
    return m_lastFailure.error != ERROR_SUCCESS ? m_lastFailure.error : ERROR_NOT_READY;
}

uint32_t CComponentManager::Unload() {
    TRACE_SCOPE("CComponentManager::Unload");
    {
        TableGuard guard(m_tableLock);
        if (m_phase == Phase::Empty) return ERROR_SUCCESS;
        if (m_phase != Phase::Loaded) return ERROR_BUSY;
        if (_IsCreatingHere()) return ERROR_POSSIBLE_DEADLOCK;
        m_phase = Phase::Unloading;
    }
    _UnloadAll();
    return ERROR_SUCCESS;
}

bool CComponentManager::_IsCreatingHere() const {
    const DWORD current = GetCurrentThreadId();
    for (const auto& [name, plugin] : m_plugins) {
        const bool isInCreation =
            plugin.state == PluginState::Creating || plugin.state == PluginState::Starting;
        if (isInCreation && plugin.creator == current) return true;
    }
    return false;
}

/// From here on no creation begins, so that nothing more is started.
void CComponentManager::_UnloadAll() {
    std::vector<Plugin*> started;
    {
        const TableGuard guard(m_tableLock);
        while (m_creations != 0)
            m_settled.Wait(m_tableLock);
        started.swap(m_started);
    }
    _StopAll(started);
    {
        const TableGuard guard(m_tableLock);
        while (m_queries != 0)
            m_settled.Wait(m_tableLock);
    }
    _DestroyAll(started);
}

void CComponentManager::_StopAll(const std::vector<Plugin*>& started) {
    TRACE_SCOPE("CComponentManager::_StopAll");
    for (Plugin* const plugin : started) {
        const uint32_t error = plugin->object.Get()->Stop();
        if (error == ERROR_SUCCESS) continue;
        TRACE_LINE(trace::kWarning, L"Plug-in %s can't be stopped. Error: %u", plugin->name.c_str(), error);
    }
    for (Plugin* const plugin : started) {
        _SetState(*plugin, PluginState::Ending);
        plugin->object.Get()->UnInit();
    }
}

void CComponentManager::_DestroyAll(const std::vector<Plugin*>& started) {
    TRACE_SCOPE("CComponentManager::_DestroyAll");
    for (Plugin* const plugin : started)
        plugin->object.Destroy();
    for (auto& [name, plugin] : _Listed()) {
        plugin.object.Destroy();  // those that others held when their Start failed
        if (plugin.references == 0) continue;
        TRACE_LINE(trace::kWarning, L"Plug-in %s has %u requests without a release", name.c_str(),
                   plugin.references);
    }
    for (Plugin* const plugin : started)
        plugin->object.FreeCode();

    PluginMap plugins;  // frees the libraries that are left, outside the lock
    TableGuard guard(m_tableLock);
    plugins.swap(m_plugins);
    m_phase = Phase::Empty;
}

}  // namespace host
