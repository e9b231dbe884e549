#include "tests/support/fake_host.h"

#include <algorithm>
#include <windows.h>

namespace test_support {

class FakeEventQueue::Serial final : public ISerialExecution {
public:
    explicit Serial(FakeEventQueue* queue) : m_queue(queue) {}

    uint32_t Post(const wchar_t* name, QueueHandle* out, EqWorkItem* item, uint64_t, uint64_t,
                  uint64_t) override {
        return m_queue->_Add(name, out, item, this, 0);
    }

private:
    FakeEventQueue* m_queue;
};

FakeEventQueue::FakeEventQueue() = default;

FakeEventQueue::~FakeEventQueue() {
    for (const auto& item : m_items)
        _Drop(*item);
}

uint32_t FakeEventQueue::Post(const wchar_t* name, QueueHandle* out, EqWorkItem* item, uint64_t, uint64_t,
                              uint64_t) {
    return _Add(name, out, item, nullptr, 0);
}

uint32_t FakeEventQueue::PostTimer(const wchar_t* name, QueueHandle* out, uint32_t periodMs, uint32_t,
                                   EqWorkItem* item, uint64_t, uint64_t, uint64_t) {
    return _Add(name, out, item, nullptr, periodMs);
}

uint32_t FakeEventQueue::_Add(const wchar_t* name, QueueHandle* out, EqWorkItem* item,
                              ISerialExecution* serial, uint32_t periodMs) {
    if (postError != 0) return postError;
    auto added = std::make_unique<Item>();
    added->name = name;
    added->work = item;
    added->serial = serial;
    added->periodMs = periodMs;
    if (out != nullptr) {
        *out = added.get();
        ++openHandles;
    }
    m_items.push_back(std::move(added));
    return 0;
}

void FakeEventQueue::_Run(Item& item) {
    item.running = true;
    item.work->Execute();
    item.work->Dispose();
    SetEvent(item.done.Get());
}

void FakeEventQueue::_Drop(Item& item) {
    if (item.running || item.IsDone()) return;
    item.work->Dispose();
    SetEvent(item.done.Get());
}

uint32_t FakeEventQueue::Wait(QueueHandle handle, uint32_t timeoutMs) {
    auto* const item = static_cast<Item*>(handle);
    if (item->IsDone()) return WAIT_OBJECT_0;
    if (timeoutMs == 0) return WAIT_TIMEOUT;
    if (!item->running) _Run(*item);
    // Another thread of the test may run it.
    return WaitForSingleObject(item->done.Get(), std::min<uint32_t>(timeoutMs, 10000));
}

uint32_t FakeEventQueue::Cancel(QueueHandle handle) {
    _Drop(*static_cast<Item*>(handle));
    return 0;
}

uint32_t FakeEventQueue::CloseItem(QueueHandle handle) {
    static_cast<void>(handle);
    --openHandles;
    return 0;
}

uint32_t FakeEventQueue::CreateSerialExecution(ISerialExecution** out) {
    if (refuseSerial) return ERROR_OUTOFMEMORY;
    m_serials.push_back(std::make_unique<Serial>(this));
    *out = m_serials.back().get();
    ++liveSerials;
    return 0;
}

void FakeEventQueue::DestroySerialExecution(ISerialExecution* serial) {
    for (const auto& item : m_items) {
        if (item->serial == serial) _Drop(*item);
    }
    --liveSerials;
}

size_t FakeEventQueue::RunAll() {
    size_t ran = 0;
    // By index, since running items may post others. NOLINTNEXTLINE(modernize-loop-convert)
    for (size_t i = 0; i < m_items.size(); ++i) {
        Item& item = *m_items[i];
        if (item.running || item.IsDone() || item.periodMs != 0) continue;
        _Run(item);
        ++ran;
    }
    return ran;
}

void FakeEventQueue::FireTimers() {
    for (const auto& item : m_items) {
        if (item->periodMs != 0 && !item->IsDone()) item->work->Execute();
    }
}

std::vector<std::wstring> FakeEventQueue::Pending() const {
    std::vector<std::wstring> pending;
    for (const auto& item : m_items) {
        if (!item->IsDone()) pending.push_back(item->name);
    }
    return pending;
}

uint32_t FakeComponentManager::GetPlugin(const wchar_t* name, const Identifier* iid, void** out) {
    *out = nullptr;
    const auto found = plugins.find(name);
    if (found == plugins.end()) return ERROR_NOT_FOUND;
    *out = found->second->QueryInterface(iid);
    if (*out == nullptr) return ERROR_NOT_FOUND;
    ++references[name];
    return 0;
}

void FakeComponentManager::ReleasePlugin(const wchar_t* name) {
    --references[name];
}

}  // namespace test_support
