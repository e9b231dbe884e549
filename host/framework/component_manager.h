#pragma once

#include <map>
#include <string>
#include <vector>

#include "border/host.h"
#include "frame/critical_section.h"
#include "frame/slim_lock.h"
#include "framework/plugin_list.h"
#include "framework/plugin_object.h"

namespace host {

/// Makes the plug-ins of a list and hands them out by name, the names' case as given.
///
/// A plug-in is handed out from the end of its Init to the beginning of its UnInit, to any thread, at once:
/// nobody waits for another plug-in's creation, nor for a Start that may itself wait for the asking thread.
/// One plug-in at a time is created and initialised, under the creation lock, which its Init may take again
/// by asking for others. Start, Stop and UnInit are called without a lock. Requests are counted, but a
/// plug-in lives until Unload.
class CComponentManager final : public IComponentManager {
public:
    /// `main` is what the plug-ins get in Init.
    explicit CComponentManager(IServMain& main) : m_main(main) {}
    CComponentManager(const CComponentManager&) = delete;
    CComponentManager& operator=(const CComponentManager&) = delete;

    /// 0, 87 for a null argument, 1168 (ERROR_NOT_FOUND) for an unknown name, 1058 (ERROR_SERVICE_DISABLED)
    /// for a plug-in that is off, 1059 (ERROR_CIRCULAR_DEPENDENCY) for one whose own Init leads to the
    /// request, 1115 (ERROR_SHUTDOWN_IN_PROGRESS) during Unload, 632 when it lacks the interface, or the
    /// error of its library, Init or Start. After an error the next request tries again.
    uint32_t GetPlugin(const wchar_t* name, const Identifier* iid, void** out) override;
    void ReleasePlugin(const wchar_t* name) override;

    /// Takes the list and brings up what it marks for the load, in its order. 0, 1247
    /// (ERROR_ALREADY_INITIALIZED) when a list is loaded, or the error of the first plug-in that failed, with
    /// one sentence in `failure`; nothing stays loaded then. Throws std::bad_alloc.
    [[nodiscard]] uint32_t Load(const std::vector<PluginListEntry>& list, std::wstring& failure);

    /// Waits for creations in progress and ends all plug-ins. Those that still live are handed out meanwhile,
    /// new ones are refused. 0, also when nothing is loaded; 170 (ERROR_BUSY) while another thread loads or
    /// unloads; 1131 (ERROR_POSSIBLE_DEADLOCK) from inside a plug-in's Init or Start.
    uint32_t Unload();

private:
    enum class Phase { Empty, Loading, Loaded, Unloading };
    enum class PluginState { Absent, Creating, Starting, Running, Ending };

    struct Plugin {
        explicit Plugin(const PluginListEntry& entry);

        const std::wstring name;
        const std::wstring path;  // of the library
        const PluginStartup startup;
        CPluginObject object;
        PluginState state = PluginState::Absent;
        uint32_t references = 0;
        DWORD creator = 0;  // the thread that creates, initialises or starts it
    };

    /// Why the last plug-in couldn't be had: also the cause for one whose Init or Start asked for it.
    struct Failure {
        DWORD thread = 0;
        uint32_t error = ERROR_SUCCESS;
        std::wstring text;  // a sentence without its capital and its full stop
    };

    using PluginMap = std::map<std::wstring, Plugin, std::less<>>;

    uint32_t _Acquire(const wchar_t* name, Plugin*& out) EXCLUDES(m_tableLock);
    bool _TakeIfServed(Plugin& plugin) REQUIRES(m_tableLock);
    uint32_t _BringUp(Plugin& plugin);
    uint32_t _BeginCreation(Plugin& plugin) REQUIRES(m_creationLock);
    uint32_t _Create(Plugin& plugin) REQUIRES(m_creationLock);
    const wchar_t* _TryCreate(Plugin& plugin, uint32_t& error);
    uint32_t _Start(Plugin& plugin);
    void _GiveUp(Plugin& plugin) EXCLUDES(m_tableLock);
    void _NoteFailure(const Plugin& plugin, uint32_t error, const wchar_t* trouble) EXCLUDES(m_tableLock);
    void _SetState(Plugin& plugin, PluginState state) EXCLUDES(m_tableLock);

    uint32_t _BringUpAtLoad(Plugin& plugin) EXCLUDES(m_tableLock);
    std::wstring _FailureSentence(uint32_t error) EXCLUDES(m_tableLock);
    bool _IsCreatingHere() const REQUIRES(m_tableLock);
    void _UnloadAll() EXCLUDES(m_tableLock);
    void _StopAll(const std::vector<Plugin*>& started);
    void _DestroyAll(const std::vector<Plugin*>& started);
    // Not checked for the lock: from its beginning Load adds nothing to the list and takes nothing away, nor
    // does anyone before the end of Unload.
    PluginMap& _Listed() NO_THREAD_SAFETY_ANALYSIS { return m_plugins; }

    IServMain& m_main;
    optimizer::CCriticalSection m_creationLock;
    optimizer::CSlimLock m_tableLock ACQUIRED_AFTER(m_creationLock);  // nothing is called under it
    Phase m_phase GUARDED_BY(m_tableLock) = Phase::Empty;
    PluginMap m_plugins GUARDED_BY(m_tableLock);
    std::vector<Plugin*> m_started GUARDED_BY(m_tableLock);  // the one whose Start returned last comes first
    uint32_t m_creations GUARDED_BY(m_tableLock) = 0;        // requests that may create
    uint32_t m_queries GUARDED_BY(m_tableLock) = 0;  // requests that ask a live plug-in for an interface
    optimizer::CSignal m_settled;                    // one of the two went down, or a plug-in's state changed
    Failure m_lastFailure GUARDED_BY(m_tableLock);
};

}  // namespace host
