#pragma once

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "border/host.h"
#include "frame/handles.h"

namespace test_support {

/// An event queue whose items the test runs by hand, on its own thread. Waiting for a pending item runs it,
/// as a queue thread would do meanwhile.
class FakeEventQueue final : public IEventQueue {
public:
    struct Item {
        std::wstring name;
        EqWorkItem* work = nullptr;
        ISerialExecution* serial = nullptr;
        uint32_t periodMs = 0;  // 0 for an item that isn't a timer
        bool running = false;
        optimizer::KernelHandle done{CreateEventW(nullptr, TRUE, FALSE, nullptr)};

        bool IsDone() const { return WaitForSingleObject(done.Get(), 0) == WAIT_OBJECT_0; }
    };

    FakeEventQueue();
    ~FakeEventQueue();

    uint32_t Reserved0() override { return 0; }
    uint32_t Start(uint32_t) override { return 0; }
    uint32_t Stop() override { return 0; }
    uint32_t Post(const wchar_t* name, QueueHandle* out, EqWorkItem* item, uint64_t, uint64_t,
                  uint64_t) override;
    uint32_t PostTimer(const wchar_t* name, QueueHandle* out, uint32_t periodMs, uint32_t repeatCount,
                       EqWorkItem* item, uint64_t, uint64_t, uint64_t) override;
    uint32_t Reserved5() override { return 0; }
    uint32_t Wait(QueueHandle handle, uint32_t timeoutMs) override;
    uint32_t Cancel(QueueHandle handle) override;
    uint32_t CloseItem(QueueHandle handle) override;
    uint32_t Reserved9() override { return 0; }
    uint32_t Reserved10() override { return 0; }
    uint32_t CreateSerialExecution(ISerialExecution** out) override;
    void DestroySerialExecution(ISerialExecution* serial) override;

    /// Runs the pending items in order, those posted meanwhile included; returns how many ran. Timers stay.
    size_t RunAll();
    /// Lets the pending timers fire once.
    void FireTimers();
    /// Names of the items that have not run yet.
    std::vector<std::wstring> Pending() const;

    const Item& Last() const { return *m_items.back(); }

    uint32_t postError = 0;     // what Post answers
    bool refuseSerial = false;  // CreateSerialExecution leaves its argument null
    int openHandles = 0;
    int liveSerials = 0;

private:
    class Serial;

    uint32_t _Add(const wchar_t* name, QueueHandle* out, EqWorkItem* item, ISerialExecution* serial,
                  uint32_t periodMs);
    static void _Run(Item& item);
    static void _Drop(Item& item);

    std::deque<std::unique_ptr<Item>> m_items;
    std::vector<std::unique_ptr<Serial>> m_serials;
};

/// Hands out the objects that the test put in.
class FakeComponentManager final : public IComponentManager {
public:
    uint32_t GetPlugin(const wchar_t* name, const Identifier* iid, void** out) override;
    void ReleasePlugin(const wchar_t* name) override;

    std::map<std::wstring, IVxBaseInterface*> plugins;
    std::map<std::wstring, int> references;  // successful requests less releases
};

class FakeHost final : public IServMain {
public:
    void* QueryInterface(const Identifier*) override { return nullptr; }
    IComponentManager* GetComponentManager() override { return hasManager ? &manager : nullptr; }
    IPluginLoader* GetPluginLoader() override { return nullptr; }
    IEventQueue* GetEventQueue() override { return hasQueue ? &queue : nullptr; }

    FakeComponentManager manager;
    FakeEventQueue queue;
    bool hasQueue = true;
    bool hasManager = true;
};

}  // namespace test_support
