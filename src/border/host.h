// What the host offers to every component: plug-ins by name, and an event queue with its threads.
#pragma once

#include "border/plugin.h"

/// Handle of a posted item.
using QueueHandle = void*;

inline constexpr uint32_t kWaitForever = 0xFFFFFFFF;    // INFINITE
inline constexpr uint32_t kRepeatForever = 0xFFFFFFFF;  // repeat count of a timer that has no bound

/// A unit of work. The component allocates it, the host runs it on one of its threads and then disposes of
/// it, exactly once, also when it was never run.
struct EqWorkItem {
    /// Flag 1 frees the memory.
    virtual void* DeletingDestructor(uint32_t flags) = 0;  // 0
    /// Called by the host when it has finished with the item; ends the item.
    virtual void Dispose() = 0;  // 1
    /// Runs the work.
    virtual void Execute() = 0;  // 2
};

/// Runs its items one at a time in the order of posting. Different serial executions run side by side.
struct ISerialExecution {
    /// Queues the item behind all earlier ones. `name` labels the item, `out` may be null. 0 or an error; on
    /// an error the item stays the caller's.
    virtual uint32_t Post(const wchar_t* name, QueueHandle* out, EqWorkItem* item, uint64_t reserved1,
                          uint64_t reserved2, uint64_t reserved3) = 0;  // 0
};

/// The host's threads. Any thread may call any operation.
struct IEventQueue {
    virtual uint32_t Reserved0() = 0;  // 0
    /// Starts `threadCount` threads.
    virtual uint32_t Start(uint32_t threadCount) = 0;  // 1
    /// Lets running items finish, drops the others and lets go of everyone who waits. Blocks for that. 0, or
    /// 258 (WAIT_TIMEOUT) when a host gives up on an item that runs on, which its owner has to end.
    virtual uint32_t Stop() = 0;  // 2
    /// Queues an item for one run. `out` receives a handle, which CloseItem forgets; it may be null. 0 or an
    /// error; on an error the item stays the caller's.
    virtual uint32_t Post(const wchar_t* name, QueueHandle* out, EqWorkItem* item, uint64_t reserved1,
                          uint64_t reserved2, uint64_t reserved3) = 0;  // 3
    /// Runs the item after each period, `repeatCount` times or without bound (kRepeatForever).
    virtual uint32_t PostTimer(const wchar_t* name, QueueHandle* out, uint32_t periodMs, uint32_t repeatCount,
                               EqWorkItem* item, uint64_t reserved1, uint64_t reserved2,
                               uint64_t reserved3) = 0;  // 4
    virtual uint32_t Reserved5() = 0;                    // 5
    /// Blocks until the item has finished or was dropped. 258 (WAIT_TIMEOUT) when it hasn't within the time,
    /// another value when it has. kWaitForever has no limit.
    virtual uint32_t Wait(QueueHandle item, uint32_t timeoutMs) = 0;  // 6
    /// A timer item doesn't fire again; an item that waits for its turn is dropped. Doesn't wait for a run in
    /// flight.
    virtual uint32_t Cancel(QueueHandle item) = 0;  // 7
    /// Forgets the handle; the item itself goes on.
    virtual uint32_t CloseItem(QueueHandle item) = 0;  // 8
    virtual uint32_t Reserved9() = 0;                  // 9
    virtual uint32_t Reserved10() = 0;                 // 10
    /// `out` stays null on failure.
    virtual uint32_t CreateSerialExecution(ISerialExecution** out) = 0;  // 11
    /// Blocks until the item in flight has ended; drops the others.
    virtual void DestroySerialExecution(ISerialExecution* serial) = 0;  // 12
};

/// Hands out plug-ins by name. The same name yields the same object. Requests may come from inside another
/// plug-in's Init or Start.
struct IComponentManager {
    /// Each success must be balanced by one ReleasePlugin of the same name.
    virtual uint32_t GetPlugin(const wchar_t* name, const Identifier* iid, void** out) = 0;  // 0
    virtual void ReleasePlugin(const wchar_t* name) = 0;                                     // 1
};

/// Reads plug-in lists.
struct IPluginLoader {
    virtual void Reserved0() = 0;  // 0
    virtual void Reserved1() = 0;  // 1
    virtual void Reserved2() = 0;  // 2
    virtual void Reserved3() = 0;  // 3
    virtual void Reserved4() = 0;  // 4
    virtual void Reserved5() = 0;  // 5
    virtual void Reserved6() = 0;  // 6
    virtual void Reserved7() = 0;  // 7
    virtual void Reserved8() = 0;  // 8
    virtual void Reserved9() = 0;  // 9
    /// Reads the list at `path` and starts what it marks for the start. 0, or the error of the first failure;
    /// nothing stays loaded then.
    virtual uint32_t LoadPlugins(const wchar_t* path) = 0;  // 10
    virtual void Reserved11() = 0;                          // 11
    /// Stops all plug-ins in the reverse order of their start, un-initialises and destroys them.
    virtual uint32_t UnloadPlugins() = 0;  // 12
};

/// The host's main object, the argument of every Init. The getters return null during shut-down.
struct IServMain : IVxBaseInterface {
    static constexpr Identifier kIdentifier = {
        0xc0e83300, 0x3426, 0xab02, {0x2f, 0x48, 0x82, 0x84, 0x96, 0x9a, 0x67, 0x17}};

    virtual IComponentManager* GetComponentManager() = 0;  // 1
    virtual IPluginLoader* GetPluginLoader() = 0;          // 2
    virtual IEventQueue* GetEventQueue() = 0;              // 3
};

/// Object name of the host's main object in framework.dll.
inline constexpr const wchar_t* kServMainName = L"ServMain";
