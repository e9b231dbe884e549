// The library's entry and its three exports: the only place that knows every component.
#include <iterator>

#include <windows.h>

#include "boottime/boot_time_plugin.h"
#include "comm/boot_time_comm.h"
#include "comm/boot_time_comm_client.h"
#include "comm/optimizer_agent.h"
#include "comm/optimizer_agent_server.h"
#include "comm/optimizer_al_comm.h"
#include "comm/optimizer_comm_client.h"
#include "frame/guarded.h"
#include "frame/lock_guard.h"
#include "frame/object_factory.h"
#include "frame/uninstall_event.h"
#include "profile/optimizer_in_proc.h"
#include "profile/optimizer_plugin.h"
#include "settings/settings_manager.h"

namespace {

using optimizer::ComponentEntry;
using optimizer::COptimizerPlugin;

constexpr const wchar_t* kPluginName = L"optimizeral";

/// The lock of the library's entry, which makes it and deletes it, as no static's constructor could.
class CAPABILITY("lock") EntryLock {
public:
    void Make() { InitializeCriticalSection(&m_section); }
    void Delete() { DeleteCriticalSection(&m_section); }
    void lock() ACQUIRE() { EnterCriticalSection(&m_section); }
    void unlock() RELEASE() { LeaveCriticalSection(&m_section); }

private:
    CRITICAL_SECTION m_section;
};

EntryLock g_lock;                                         // held only around the two fields below
int32_t g_count GUARDED_BY(g_lock) = 0;                   // references to the plugin
COptimizerPlugin* g_plugin GUARDED_BY(g_lock) = nullptr;  // the one plugin of the process

constexpr optimizer::CreationTraces kBootTimeTraces = {L"Created pOptimizerBootTimer object",
                                                       L"Got pOptimizerBootTimer interface",
                                                       L"OptimizerBootTimer interface not found"};
constexpr optimizer::CreationTraces kBootTimeCommTraces = {L"Created pOptimizerBootTimerComm object",
                                                           L"Got pOptimizerBootTimerComm interface",
                                                           L"OptimizerBootTimerComm interface not found"};
constexpr optimizer::CreationTraces kBootTimeCommClientTraces = {
    L"Created pOptimizerBootTimerCommClient object", L"Got pOptimizerBootTimerCommClient interface",
    L"OptimizerBootTimerCommClient interface not found"};

/// Components of which each call makes a new object. The host frees all but "boottime" without a destructor.
const ComponentEntry kComponents[] = {
    optimizer::RawComponent<optimizer::COptimizerALComm>(L"optimizeralcomm"),
    optimizer::RawComponent<optimizer::COptimizerCommClient, IOptimizerALCommClient>(L"optimizercommclient"),
    optimizer::RawComponent<optimizer::COptimizerInProc>(L"optimizerinproc"),
    optimizer::RawComponent<optimizer::CSettingsManager>(L"optimizersettings"),
    optimizer::RawComponent<optimizer::COptimizerAgent>(L"optimizeragent"),
    optimizer::RawComponent<optimizer::COptimizerAgentServer, IOptimizerAgentServer>(L"optimizeragentserver"),
    optimizer::Traced(optimizer::OwnedComponent<boottime::CBootTimePlugin>(L"boottime"), kBootTimeTraces),
    optimizer::Traced(optimizer::RawComponent<boottime::CBootTimeComm>(L"boottimecomm"), kBootTimeCommTraces),
    optimizer::Traced(optimizer::RawComponent<boottime::CBootTimeCommClient, boottime::IBootTimeCommClient>(
                          L"boottimecommclient"),
                      kBootTimeCommClientTraces),
};

/// Null when it can't be made.
COptimizerPlugin* MakePlugin() {
    COptimizerPlugin* plugin = nullptr;
    static_cast<void>(optimizer::Guarded([&] {
        plugin = new COptimizerPlugin;
        return uint32_t{ERROR_SUCCESS};
    }));
    return plugin;
}

uint32_t CreatePlugin(const Identifier* iid, void** out) {
    const Identifier wanted = *iid;
    optimizer::LockGuard guard(g_lock);
    uint32_t error = ERROR_SUCCESS;
    if (g_count != 0) {
        // A destruction too many took the count below 0, and there is no plugin. That isn't mended here: the
        // balance is the callers' to keep.
        if (g_plugin == nullptr) error = ERROR_NOT_FOUND;
        ++g_count;
    } else {
        g_plugin = MakePlugin();
        if (g_plugin != nullptr) {
            g_count = 1;
        } else {
            error = ERROR_OUTOFMEMORY;
        }
    }
    COptimizerPlugin* const plugin = g_plugin;
    guard.unlock();
    if (error != ERROR_SUCCESS) return error;
    // The count stays raised when the object lacks the interface: only a balancing destruction takes it down.
    *out = plugin->QueryInterface(&wanted);
    return *out != nullptr ? ERROR_SUCCESS : ERROR_NOT_FOUND;
}

void DestroyPlugin() {
    const optimizer::LockGuard guard(g_lock);
    // Goes below 0 unchecked, as told above.
    if (g_count-- == 1) {
        if (g_plugin != nullptr) g_plugin->DeletingDestructor(1);
        g_plugin = nullptr;
    }
}

bool IsPlugin(const wchar_t* name) {
    return name != nullptr && _wcsicmp(name, kPluginName) == 0;
}

}  // namespace

extern "C" {

uint32_t VxCreateObject(const wchar_t* name, const Identifier* iid, void** out) {
    if (out != nullptr && iid != nullptr && IsPlugin(name)) {
        *out = nullptr;
        return CreatePlugin(iid, out);
    }
    return optimizer::CreateComponent(kComponents, std::size(kComponents), name, iid, out);
}

void VxDestroyObject(const wchar_t* name, void* object) {
    if (IsPlugin(name)) {
        DestroyPlugin();
    } else {
        optimizer::DestroyComponent(kComponents, std::size(kComponents), name, object);
    }
}

uint32_t VxNotifyUninstall() {
    const optimizer::KernelHandle event = optimizer::OpenUninstallEvent();
    return event && SetEvent(event.Get()) ? ERROR_SUCCESS : ERROR_GEN_FAILURE;
}

// Not checked for the lock: the system runs this before and after all else that the library does.
BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*) NO_THREAD_SAFETY_ANALYSIS {
    if (reason == DLL_PROCESS_ATTACH) {
        if (g_count == 0) g_lock.Make();
    } else if (reason == DLL_PROCESS_DETACH) {
        // With references left at exit the section stays, since their owners may still come.
        if (g_count == 0) g_lock.Delete();
    }
    return TRUE;
}

}  // extern "C"
